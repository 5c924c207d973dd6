#include "forcescopeplot.h"

#include <QPainter>
#include <QPainterPath>
#include <algorithm>
#include <cmath>

namespace {

constexpr int LeftMargin = 56;
constexpr int RightMargin = 8;
constexpr int TopMargin = 6;
constexpr int BottomMargin = 22;
constexpr int PanelGap = 10;

// A round step for about four grid lines over `span`.
double niceStep(double span) {
    const double raw = span / 4.0;
    const double power = std::pow(10.0, std::floor(std::log10(raw)));
    for (double factor : {1.0, 2.0, 2.5, 5.0, 10.0})
        if (raw <= factor * power)
            return factor * power;
    return 10.0 * power;
}

} // namespace

// Forces get two units of height, the others one each. Spring gains have an axis of their own: a unitless
// gain of a few hundred would squash the forces' percentages flat.
const ForceScopePlot::Panel ForceScopePlot::panels[PanelCount] = {
    {"Forces (% of full scale)", {0, 2, 3, 5, 6, 8}, 6, true, 2},
    {"Spring gain", {1, 4, 7}, 3, false, 1},
    {"Airspeed (km/h)", {9}, 1, false, 1},
    {"AoA (°), G-force (g)", {10, 11}, 2, false, 1},
};

QString ForceScopePlot::panelTitle(int panel) {
    return panel >= 0 && panel < PanelCount ? QString::fromUtf8(panels[panel].title) : QString();
}

std::pair<double, double> ForceScopePlot::panelRange(int panel) const {
    if (panel < 0 || panel >= PanelCount)
        return {0, 0};
    const int64_t newestMs = count ? samples[(next + Capacity - 1) % Capacity].timeMs : 0;
    const Scale scale = scaleFor(panels[panel], newestMs);
    return {scale.low, scale.high};
}

int ForceScopePlot::bandRows(qreal devicePixelRatio) {
    constexpr int DeviceRows = 64;
    return std::max(1, int(std::floor(DeviceRows / std::max(devicePixelRatio, qreal(1)))));
}

ForceScopePlot::ForceScopePlot(QWidget *parent) : QWidget(parent), samples(Capacity) {
    std::fill(std::begin(shown), std::end(shown), true);
    line.reserve(2 * 4096);
    setAttribute(Qt::WA_OpaquePaintEvent);
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Expanding);
}

QString ForceScopePlot::seriesName(int series) {
    static const char *const axes[] = {"Roll", "Pitch", "Yaw"};
    static const char *const outputs[] = {"force", "spring gain", "periodic"};
    if (series >= 0 && series < 9)
        return QStringLiteral("%1 %2").arg(QLatin1String(axes[series / 3]), QLatin1String(outputs[series % 3]));
    switch (series) {
    case 9:
        return QStringLiteral("Airspeed (km/h)");
    case 10:
        return QStringLiteral("AoA (°)");
    case 11:
        return QStringLiteral("G-force (g)");
    default:
        return QString();
    }
}

QString ForceScopePlot::seriesKey(int series) {
    static const char *const keys[] = {"roll_force",       "roll_spring_gain",  "roll_periodic",
                                       "pitch_force",      "pitch_spring_gain", "pitch_periodic",
                                       "yaw_force",        "yaw_spring_gain",   "yaw_periodic",
                                       "airspeed_kmh",     "aoa_deg",           "g_force"};
    return series >= 0 && series < SeriesCount ? QLatin1String(keys[series]) : QString();
}

QColor ForceScopePlot::seriesColor(int series) {
    // Each axis in its own hue; force solid, spring gain lighter, periodic darker.
    static const QRgb colors[] = {0xd62728, 0xff9896, 0x8c1c13, 0x1f77b4, 0x9ecae9, 0x08306b,
                                  0x2ca02c, 0x98df8a, 0x00441b, 0x9467bd, 0xff7f0e, 0x17becf};
    return series >= 0 && series < SeriesCount ? QColor(colors[series]) : QColor(Qt::black);
}

float ForceScopePlot::seriesValue(const ScopeSample &sample, int series) {
    if (series >= 0 && series < 9) {
        const AxisForces &axis = sample.forces[series / 3];
        switch (series % 3) {
        case 0:
            return axis.force;
        case 1:
            return axis.springGain;
        default:
            return axis.periodic;
        }
    }
    switch (series) {
    case 9:
        return sample.airspeed;
    case 10:
        return sample.aoa;
    case 11:
        return sample.gForce;
    default:
        return 0;
    }
}

void ForceScopePlot::append(const ScopeSample &sample) {
    samples[next] = sample;
    next = (next + 1) % Capacity;
    count = std::min(count + 1, Capacity);
}

void ForceScopePlot::clear() {
    next = 0;
    count = 0;
    update();
}

std::vector<ScopeSample> ForceScopePlot::visibleSamples() const {
    std::vector<ScopeSample> out;
    if (count == 0)
        return out;
    const std::size_t oldest = (next + Capacity - count) % Capacity;
    const int64_t newestMs = samples[(next + Capacity - 1) % Capacity].timeMs;
    out.reserve(count);
    for (std::size_t i = 0; i < count; ++i) {
        const ScopeSample &sample = samples[(oldest + i) % Capacity];
        if (newestMs - sample.timeMs <= WindowMs)
            out.push_back(sample);
    }
    return out;
}

void ForceScopePlot::setSeriesVisible(int series, bool visible) {
    if (series < 0 || series >= SeriesCount || shown[series] == visible)
        return;
    shown[series] = visible;
    update();
}

QByteArray ForceScopePlot::csv() const {
    QByteArray out("time_s");
    for (int series = 0; series < SeriesCount; ++series)
        if (shown[series])
            out += ',' + seriesKey(series).toLatin1();
    out += '\n';
    for (const ScopeSample &sample : visibleSamples()) {
        out += QByteArray::number(double(sample.timeMs) / 1000.0, 'f', 3);
        for (int series = 0; series < SeriesCount; ++series)
            if (shown[series])
                out += ',' + QByteArray::number(double(seriesValue(sample, series)), 'g', 9);
        out += '\n';
    }
    return out;
}

void ForceScopePlot::paintEvent(QPaintEvent *) {
    QPainter painter(this);
    const QRectF area = QRectF(rect()).adjusted(LeftMargin, TopMargin, -RightMargin, -BottomMargin);
    if (area.width() < 20 || area.height() < 80) {
        painter.fillRect(rect(), palette().base());
        return;
    }
    int units = 0;
    for (const Panel &panel : panels)
        units += panel.heightUnits;
    const double unit = (area.height() - (PanelCount - 1) * PanelGap) / units;
    QRectF areas[PanelCount];
    double top = area.top();
    for (int i = 0; i < PanelCount; ++i) {
        areas[i] = QRectF(area.left(), top, area.width(), panels[i].heightUnits * unit);
        top += areas[i].height() + PanelGap;
    }
    const int64_t newestMs = count ? samples[(next + Capacity - 1) % Capacity].timeMs : 0;
    Scale scales[PanelCount];
    bool sameScales = true;
    for (int i = 0; i < PanelCount; ++i) {
        scales[i] = scaleFor(panels[i], newestMs);
        sameScales = sameScales && scales[i] == frameScales[i];
    }

    const qreal ratio = devicePixelRatioF();
    if (frame.size() != size() * ratio || !sameScales) {
        frame = QPixmap(size() * ratio);
        frame.setDevicePixelRatio(ratio);
        frame.fill(palette().color(QPalette::Base));
        QPainter framePainter(&frame);
        labelAreas.clear();
        for (int i = 0; i < PanelCount; ++i) {
            drawFrame(framePainter, i, areas[i], scales[i], i == PanelCount - 1);
            frameScales[i] = scales[i];
        }
    }
    // In bands of fewer than 96 device-pixel rows: Qt hands a taller copy to its thread pool, and waking those
    // threads 30 times a second costs far more than the copy itself. At a ratio of 2 a logical row is two.
    const int band = bandRows(ratio);
    for (int y = 0; y < height(); y += band) {
        const QRect rows(0, y, width(), std::min(band, height() - y));
        painter.drawPixmap(rows, frame, QRectF(rows.topLeft() * ratio, rows.size() * ratio));
    }
    for (int i = 0; i < PanelCount; ++i)
        drawSeries(painter, areas[i], panels[i], scales[i], newestMs);
}

ForceScopePlot::Scale ForceScopePlot::scaleFor(const Panel &panel, int64_t newestMs) const {
    // The scale follows what is shown; zero stays in view.
    double low = 0, high = 0;
    const std::size_t oldest = (next + Capacity - count) % Capacity;
    for (std::size_t i = 0; i < count; ++i) {
        const ScopeSample &sample = samples[(oldest + i) % Capacity];
        if (newestMs - sample.timeMs > WindowMs)
            continue;
        for (int k = 0; k < panel.seriesCount; ++k) {
            const int series = panel.series[k];
            if (!shown[series])
                continue;
            const double value = double(seriesValue(sample, series));
            if (std::isfinite(value)) {
                low = std::min(low, value);
                high = std::max(high, value);
            }
        }
    }
    if (panel.symmetric) {
        high = std::max(std::fabs(low), std::fabs(high));
        low = -high;
    }
    if (high - low < 1e-3)
        high = low + 1.0;
    Scale scale;
    scale.step = niceStep(high - low);
    scale.low = std::floor(low / scale.step) * scale.step;
    scale.high = std::ceil(high / scale.step) * scale.step;
    return scale;
}

void ForceScopePlot::drawFrame(QPainter &painter, int panelIndex, const QRectF &area, const Scale &scale,
                               bool timeLabels) {
    const QColor text = palette().color(QPalette::Text);
    QColor grid = text;
    grid.setAlpha(40);
    const auto yOf = [&](double value) {
        return area.bottom() - (value - scale.low) / (scale.high - scale.low) * area.height();
    };
    painter.setPen(grid);
    painter.drawRect(area);
    painter.setFont(font());
    const double labelHeight = fontMetrics().height();
    // Each label stays inside its own panel's height, so the top label of one panel and the bottom label of
    // the one above never share rows; one that would touch the label before it is left out.
    double lastLabelTop = area.bottom() + labelHeight;
    for (double value = scale.low; value <= scale.high + scale.step / 2; value += scale.step) {
        const double y = yOf(value);
        painter.setPen(grid);
        painter.drawLine(QPointF(area.left(), y), QPointF(area.right(), y));
        const double labelTop = std::clamp(y - labelHeight / 2, area.top(), area.bottom() - labelHeight);
        if (labelTop + labelHeight > lastLabelTop)
            continue;
        lastLabelTop = labelTop;
        const QRectF label(0, labelTop, LeftMargin - 4, labelHeight);
        labelAreas.emplace_back(panelIndex, label);
        painter.setPen(text);
        painter.drawText(label, Qt::AlignRight | Qt::AlignVCenter, QString::number(value, 'g', 4));
    }
    for (int second = 0; second <= WindowMs / 1000; second += 2) {
        const double x = area.right() - second * area.width() / (WindowMs / 1000);
        painter.setPen(grid);
        painter.drawLine(QPointF(x, area.top()), QPointF(x, area.bottom()));
        if (timeLabels) {
            painter.setPen(text);
            painter.drawText(QRectF(x - 30, area.bottom() + 2, 60, 16), Qt::AlignHCenter | Qt::AlignTop,
                             second == 0 ? QStringLiteral("0 s") : QStringLiteral("-%1 s").arg(second));
        }
    }
    painter.setPen(text);
    painter.drawText(area.adjusted(6, 2, -6, -2), Qt::AlignLeft | Qt::AlignTop,
                     QString::fromUtf8(panels[panelIndex].title));
}

void ForceScopePlot::drawSeries(QPainter &painter, const QRectF &area, const Panel &panel, const Scale &scale,
                                int64_t newestMs) {
    const auto yOf = [&](double value) {
        return area.bottom() - (value - scale.low) / (scale.high - scale.low) * area.height();
    };
    const auto xOf = [&](int64_t ms) {
        return area.right() - double(newestMs - ms) / double(WindowMs) * area.width();
    };
    const std::size_t oldest = (next + Capacity - count) % Capacity;
    // One polyline per series; at most two points (the column's extremes) per pixel column, so the cost of a
    // frame follows the plot's width, not the number of samples. One-pixel lines go through Qt's cosmetic
    // stroker, which draws on this thread.
    painter.save();
    painter.setClipRect(area);
    for (int k = 0; k < panel.seriesCount; ++k) {
        const int series = panel.series[k];
        if (!shown[series] || count == 0)
            continue;
        painter.setPen(QPen(seriesColor(series), 0)); // width 0: cosmetic
        line.clear();
        int column = INT32_MIN;
        double columnLow = 0, columnHigh = 0, columnX = 0;
        bool lowFirst = true;
        const auto flush = [&] {
            if (column == INT32_MIN)
                return;
            const double first = lowFirst ? columnLow : columnHigh;
            const double second = lowFirst ? columnHigh : columnLow;
            line.emplace_back(columnX, yOf(first));
            if (second != first)
                line.emplace_back(columnX, yOf(second));
        };
        int64_t previousMs = INT64_MIN;
        for (std::size_t i = 0; i < count; ++i) {
            const ScopeSample &sample = samples[(oldest + i) % Capacity];
            if (newestMs - sample.timeMs > WindowMs)
                continue;
            // Cycles missing here (paused, hidden): end the line and start a new one after the gap.
            if (previousMs != INT64_MIN && sample.timeMs - previousMs > BreakAfterMs) {
                flush();
                painter.drawPolyline(line.data(), int(line.size()));
                line.clear();
                column = INT32_MIN;
            }
            previousMs = sample.timeMs;
            double value = double(seriesValue(sample, series));
            if (!std::isfinite(value))
                value = 0;
            const double x = xOf(sample.timeMs);
            const int here = int(std::floor(x));
            if (here != column) {
                flush();
                column = here;
                columnX = x;
                columnLow = columnHigh = value;
                lowFirst = true;
            } else {
                if (value < columnLow) {
                    columnLow = value;
                    lowFirst = false;
                }
                if (value > columnHigh) {
                    columnHigh = value;
                    lowFirst = true;
                }
            }
        }
        flush();
        painter.drawPolyline(line.data(), int(line.size()));
    }
    painter.restore();
}
