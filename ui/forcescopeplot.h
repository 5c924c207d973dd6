#pragma once

#include "forcescope.h"

#include <QColor>
#include <QPixmap>
#include <QPointF>
#include <QString>
#include <QWidget>
#include <utility>
#include <vector>

// The force scope's drawing: the last ten seconds of the cycle's outputs and of the telemetry, in four
// panels stacked over one time axis (forces; spring gains, which have no unit and reach hundreds; airspeed;
// AoA and g), drawn with QPainter. It keeps its own copy of the samples, so a paused view still shows,
// resizes and exports what it had. Where cycles are missing (a pause, a hidden view) the lines break.
class ForceScopePlot : public QWidget {
    Q_OBJECT

public:
    static constexpr int SeriesCount = 12;
    static constexpr int WindowMs = 10000;
    static constexpr int PanelCount = 4;
    // Consecutive samples further apart than this (ten 10 ms cycles) are not joined by a line.
    static constexpr int BreakAfterMs = 100;

    explicit ForceScopePlot(QWidget *parent = nullptr);

    // Series 3a..3a+2 are axis a's force, spring gain and periodic; 9 airspeed, 10 AoA, 11 g.
    static QString seriesName(int series);
    static QString seriesKey(int series); // the CSV column
    static QColor seriesColor(int series);
    static float seriesValue(const ScopeSample &sample, int series);

    void append(const ScopeSample &sample);
    void clear();
    // Samples of the last ten seconds before the newest, oldest first.
    std::vector<ScopeSample> visibleSamples() const;
    int sampleCount() const { return int(count); }

    void setSeriesVisible(int series, bool visible);
    bool isSeriesVisible(int series) const { return series >= 0 && series < SeriesCount && shown[series]; }

    // What is on screen as CSV: the time in seconds and every shown series, one row per cycle.
    QByteArray csv() const;

    static QString panelTitle(int panel);
    // The value range of a panel's axis for the samples now held (as the next frame draws it).
    std::pair<double, double> panelRange(int panel) const;
    // Where the last frame put each panel's axis labels, in logical pixels.
    const std::vector<std::pair<int, QRectF>> &axisLabelAreas() const { return labelAreas; }
    // Rows of the cached frame copied at once. Qt hands a copy of 96 or more device-pixel rows to its
    // thread pool; the bands stay below that at any device-pixel ratio.
    static int bandRows(qreal devicePixelRatio);

    QSize sizeHint() const override { return QSize(640, 420); }
    QSize minimumSizeHint() const override { return QSize(320, 240); }

protected:
    void paintEvent(QPaintEvent *event) override;

private:
    struct Panel {
        const char *title;
        int series[6];
        int seriesCount;
        bool symmetric;
        int heightUnits;
    };
    static const Panel panels[PanelCount];
    struct Scale {
        double low = 0, high = 1, step = 1;
        bool operator==(const Scale &other) const {
            return low == other.low && high == other.high && step == other.step;
        }
    };
    Scale scaleFor(const Panel &panel, int64_t newestMs) const;
    void drawFrame(class QPainter &painter, int panelIndex, const QRectF &area, const Scale &scale, bool timeLabels);
    void drawSeries(class QPainter &painter, const QRectF &area, const Panel &panel, const Scale &scale,
                    int64_t newestMs);

    // One slot more than ten seconds of 10 ms cycles hold, so a late cycle does not cut the window short.
    static constexpr std::size_t Capacity = 1024;
    std::vector<ScopeSample> samples; // a ring: `next` is the oldest once full
    std::size_t next = 0;
    std::size_t count = 0;
    bool shown[SeriesCount];
    std::vector<QPointF> line; // reused by every series of every frame
    // Grid, labels and titles change only with the size and the scales: drawn once into here.
    QPixmap frame;
    Scale frameScales[PanelCount];
    std::vector<std::pair<int, QRectF>> labelAreas;
};
