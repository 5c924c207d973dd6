#include "forcescopeplot.h"
#include "forcescopeview.h"
#include "telemetryrecorder.h"
#include "telemetryrecording.h"

#include <QCheckBox>
#include <QImage>
#include <QLabel>
#include <QPushButton>
#include <QTemporaryDir>
#include <QtTest>
#include <memory>

namespace {

ScopeSample sampleAt(int64_t ms) {
    ScopeSample sample;
    sample.timeMs = ms;
    for (int axis = 0; axis < 3; ++axis) {
        sample.forces[axis].force = float(axis + 1) * 10 + float(ms) / 1000;
        sample.forces[axis].springGain = float(axis + 1);
        sample.forces[axis].periodic = ms % 20 == 0 ? 5.0f : -5.0f;
    }
    sample.airspeed = 300;
    sample.aoa = 4.5f;
    sample.gForce = 1.25f;
    return sample;
}

} // namespace

// The Forces view: reads the ring only while visible, legend toggles, pause and resume, CSV of what is shown.
class TestForceScopeView : public QObject {
    Q_OBJECT

private:
    QTemporaryDir dir;

private slots:
    void hiddenItReadsNothing() {
        auto ring = std::make_unique<ForceScopeRing>();
        ForceScopeView view;
        view.setRing(ring.get());
        QVERIFY(!view.isReading());
        ring->push(sampleAt(10));
        QTest::qWait(3 * ForceScopeView::FrameMs);
        QCOMPARE(view.plot()->sampleCount(), 0);
        // Still waiting in the ring: nobody took it.
        int waiting = 0;
        ring->drain([&](const ScopeSample &) { ++waiting; });
        QCOMPARE(waiting, 1);
    }

    void visibleItReadsOnItsTimer() {
        auto ring = std::make_unique<ForceScopeRing>();
        ForceScopeView view;
        view.setRing(ring.get());
        ring->push(sampleAt(10)); // from before the view was shown: dropped as stale
        view.show();
        QVERIFY(QTest::qWaitForWindowExposed(&view));
        QVERIFY(view.isReading());
        for (int ms = 20; ms <= 50; ms += 10)
            ring->push(sampleAt(ms));
        QTRY_COMPARE(view.plot()->sampleCount(), 4);
        QCOMPARE(view.plot()->visibleSamples().front().timeMs, 20);

        view.hide();
        QVERIFY(!view.isReading());
        ring->push(sampleAt(60));
        QTest::qWait(3 * ForceScopeView::FrameMs);
        QCOMPARE(view.plot()->sampleCount(), 4);
    }

    void pauseFreezesAndResumeStartsFromNow() {
        auto ring = std::make_unique<ForceScopeRing>();
        ForceScopeView view;
        view.setRing(ring.get());
        view.show();
        QVERIFY(QTest::qWaitForWindowExposed(&view));
        auto *pause = view.findChild<QPushButton *>(QStringLiteral("pause_button"));
        QVERIFY(pause);
        QCOMPARE(pause->text(), QStringLiteral("Pause"));
        ring->push(sampleAt(10));
        QTRY_COMPARE(view.plot()->sampleCount(), 1);
        pause->click();
        QVERIFY(view.isPaused());
        QCOMPARE(pause->text(), QStringLiteral("Resume"));
        QVERIFY(!view.isReading());
        ring->push(sampleAt(20));
        QTest::qWait(3 * ForceScopeView::FrameMs);
        QCOMPARE(view.plot()->sampleCount(), 1);
        pause->click();
        QCOMPARE(pause->text(), QStringLiteral("Pause"));
        ring->push(sampleAt(30));
        QTRY_COMPARE(view.plot()->sampleCount(), 2);
        QCOMPARE(view.plot()->visibleSamples().back().timeMs, 30); // the paused sample 20 was let go
    }

    void onlyTheLastTenSecondsAreShown() {
        ForceScopePlot plot;
        for (int64_t ms = 0; ms <= 12000; ms += 10)
            plot.append(sampleAt(ms));
        const std::vector<ScopeSample> shown = plot.visibleSamples();
        QCOMPARE(shown.front().timeMs, 2000);
        QCOMPARE(shown.back().timeMs, 12000);
        QCOMPARE(shown.size(), std::size_t(1001));
    }

    void legendSwitchesSeriesAndTheCsvFollows() {
        ForceScopeView view;
        for (int64_t ms : {1000, 1010})
            view.plot()->append(sampleAt(ms));
        const QStringList names{QStringLiteral("Roll force"),      QStringLiteral("Roll spring gain"),
                                QStringLiteral("Roll periodic"),   QStringLiteral("Pitch force"),
                                QStringLiteral("Pitch spring gain"), QStringLiteral("Pitch periodic"),
                                QStringLiteral("Yaw force"),       QStringLiteral("Yaw spring gain"),
                                QStringLiteral("Yaw periodic"),    QStringLiteral("Airspeed (km/h)"),
                                QStringLiteral("AoA (°)"),         QStringLiteral("G-force (g)")};
        for (int series = 0; series < ForceScopePlot::SeriesCount; ++series) {
            auto *check = view.findChild<QCheckBox *>(ForceScopePlot::seriesKey(series) + QStringLiteral("_check"));
            QVERIFY(check);
            QCOMPARE(check->text(), names[series]);
            QCOMPARE(ForceScopePlot::seriesName(series), names[series]);
            QVERIFY(check->isChecked());
            QVERIFY(!check->icon().isNull());
        }
        QCOMPARE(view.plot()->csv(),
                 QByteArray("time_s,roll_force,roll_spring_gain,roll_periodic,pitch_force,pitch_spring_gain,"
                            "pitch_periodic,yaw_force,yaw_spring_gain,yaw_periodic,airspeed_kmh,aoa_deg,g_force\n"
                            "1.000,11,1,5,21,2,5,31,3,5,300,4.5,1.25\n"
                            "1.010,11.0100002,1,-5,21.0100002,2,-5,31.0100002,3,-5,300,4.5,1.25\n"));

        for (const char *name : {"roll_spring_gain_check", "pitch_periodic_check", "yaw_force_check",
                                 "airspeed_kmh_check", "g_force_check"})
            view.findChild<QCheckBox *>(QLatin1String(name))->setChecked(false);
        QVERIFY(!view.plot()->isSeriesVisible(1));
        QVERIFY(view.plot()->isSeriesVisible(0));
        const QByteArray expected("time_s,roll_force,roll_periodic,pitch_force,pitch_spring_gain,yaw_spring_gain,"
                                  "yaw_periodic,aoa_deg\n"
                                  "1.000,11,5,21,2,3,5,4.5\n"
                                  "1.010,11.0100002,-5,21.0100002,2,3,-5,4.5\n");
        QCOMPARE(view.plot()->csv(), expected);

        // The Export button writes the same to the file the user names.
        const QString path = dir.filePath(QStringLiteral("shown.csv"));
        view.setFileNameAsker([&](const QString &title, const QString &suggestion) {
            return title == QStringLiteral("Export CSV") && suggestion.endsWith(QStringLiteral(".csv")) ? path
                                                                                                          : QString();
        });
        view.findChild<QPushButton *>(QStringLiteral("export_button"))->click();
        QFile file(path);
        QVERIFY(file.open(QIODevice::ReadOnly));
        QCOMPARE(file.readAll(), expected);
        QCOMPARE(view.findChild<QLabel *>(QStringLiteral("record_label"))->text(), QStringLiteral("Exported ") + path);

        QString error;
        QVERIFY(!view.exportCsv(dir.filePath(QStringLiteral("missing/x.csv")), &error));
        QVERIFY2(error.startsWith(QStringLiteral("Cannot write ")), qPrintable(error));
    }

    void drawsEveryShownSeries() {
        ForceScopePlot plot;
        plot.resize(700, 420);
        for (int64_t ms = 0; ms <= 10000; ms += 10)
            plot.append(sampleAt(ms));
        QImage image(plot.size(), QImage::Format_RGB32);
        plot.render(&image);
        // Every series' colour appears in the picture; a switched-off one does not.
        const auto hasColour = [&](const QColor &colour) {
            for (int y = 0; y < image.height(); ++y)
                for (int x = 0; x < image.width(); ++x)
                    if (image.pixel(x, y) == colour.rgb())
                        return true;
            return false;
        };
        for (int series : {0, 3, 6, 9, 10, 11})
            QVERIFY2(hasColour(ForceScopePlot::seriesColor(series)), qPrintable(QString::number(series)));
        plot.setSeriesVisible(9, false);
        plot.render(&image);
        QVERIFY(!hasColour(ForceScopePlot::seriesColor(9)));
    }

    // Pause and resume (or hide and show) within ten seconds leaves a gap of missing cycles: no line may be
    // drawn across it.
    void linesBreakWhereCyclesAreMissing() {
        ForceScopePlot plot;
        plot.resize(700, 420);
        for (int series = 1; series < ForceScopePlot::SeriesCount; ++series)
            plot.setSeriesVisible(series, false);
        const auto sample = [](int64_t ms, float force) {
            ScopeSample s;
            s.timeMs = ms;
            s.forces[0].force = force;
            return s;
        };
        for (int64_t ms = 0; ms <= 2000; ms += 10)
            plot.append(sample(ms, 50));
        for (int64_t ms = 8000; ms <= 10000; ms += 10)
            plot.append(sample(ms, -50));
        QImage image(plot.size(), QImage::Format_RGB32);
        plot.render(&image);
        const QRgb colour = ForceScopePlot::seriesColor(0).rgb();
        const auto columnHas = [&](int x) {
            for (int y = 0; y < image.height(); ++y)
                if (image.pixel(x, y) == colour)
                    return true;
            return false;
        };
        // The plot spans x 56 to 692 for -10 s to 0 s.
        const auto xOf = [](int64_t ms) { return int(692 - double(10000 - ms) / 10000 * 636); };
        QVERIFY(columnHas(xOf(1000)));
        QVERIFY(columnHas(xOf(9000)));
        for (int64_t ms = 2200; ms <= 7800; ms += 200)
            QVERIFY2(!columnHas(xOf(ms)), qPrintable(QStringLiteral("a line across the gap at %1 ms").arg(ms)));

        // Cycles that are only late (up to ten of them) keep one line.
        ForceScopePlot late;
        late.resize(700, 420);
        for (int series = 1; series < ForceScopePlot::SeriesCount; ++series)
            late.setSeriesVisible(series, false);
        late.append(sample(4000, 50));
        late.append(sample(4000 + ForceScopePlot::BreakAfterMs, -50));
        late.append(sample(10000, -50));
        late.render(&image);
        QVERIFY(columnHas(xOf(4000 + ForceScopePlot::BreakAfterMs / 2)));
    }

    // Spring gains reach hundreds and have no unit: their own panel and axis, the forces keep percentages.
    void springGainsHaveTheirOwnAxis() {
        QCOMPARE(ForceScopePlot::PanelCount, 4);
        QCOMPARE(ForceScopePlot::panelTitle(0), QStringLiteral("Forces (% of full scale)"));
        QCOMPARE(ForceScopePlot::panelTitle(1), QStringLiteral("Spring gain"));
        QCOMPARE(ForceScopePlot::panelTitle(2), QStringLiteral("Airspeed (km/h)"));
        QCOMPARE(ForceScopePlot::panelTitle(3), QStringLiteral("AoA (°), G-force (g)"));
        ForceScopePlot plot;
        ScopeSample sample;
        sample.forces[1].force = 60;
        sample.forces[2].periodic = -20;
        sample.forces[0].springGain = 480;
        plot.append(sample);
        QCOMPARE(plot.panelRange(0), std::make_pair(-100.0, 100.0));
        QCOMPARE(plot.panelRange(1), std::make_pair(0.0, 600.0));
        // The panel's own scale follows only its own series.
        plot.setSeriesVisible(1, false);
        QCOMPARE(plot.panelRange(1), std::make_pair(0.0, 1.0));
        QCOMPARE(plot.panelRange(0), std::make_pair(-100.0, 100.0));
    }

    // Axis labels of neighbouring panels never overlap, at the usual size and at the smallest.
    void axisLabelsStayInTheirPanels() {
        for (const QSize &size : {QSize(700, 420), QSize(320, 240), QSize(640, 900)}) {
            ForceScopePlot plot;
            plot.resize(size);
            for (int64_t ms = 0; ms <= 10000; ms += 10)
                plot.append(sampleAt(ms));
            QImage image(plot.size(), QImage::Format_RGB32);
            plot.render(&image);
            const auto &labels = plot.axisLabelAreas();
            for (int panel = 0; panel < ForceScopePlot::PanelCount; ++panel) {
                int shown = 0;
                for (const auto &label : labels)
                    shown += label.first == panel ? 1 : 0;
                QVERIFY2(shown >= 2, qPrintable(QStringLiteral("panel %1 at %2x%3 has %4 labels")
                                                    .arg(panel)
                                                    .arg(size.width())
                                                    .arg(size.height())
                                                    .arg(shown)));
            }
            for (std::size_t i = 0; i < labels.size(); ++i) {
                QVERIFY(QRectF(plot.rect()).contains(labels[i].second));
                for (std::size_t j = i + 1; j < labels.size(); ++j)
                    QVERIFY2(!labels[i].second.intersects(labels[j].second),
                             qPrintable(QStringLiteral("labels of panels %1 and %2 overlap at %3x%4")
                                            .arg(labels[i].first)
                                            .arg(labels[j].first)
                                            .arg(size.width())
                                            .arg(size.height())));
            }
        }
    }

    // The cached frame is copied in bands Qt does on this thread: under 96 device-pixel rows at any ratio,
    // and not needlessly thin.
    void bandsAreSizedInDevicePixels() {
        QCOMPARE(ForceScopePlot::bandRows(1.0), 64);
        QCOMPARE(ForceScopePlot::bandRows(2.0), 32);
        for (qreal ratio : {1.0, 1.25, 1.5, 1.75, 2.0, 2.5, 3.0, 4.0}) {
            const qreal deviceRows = ForceScopePlot::bandRows(ratio) * ratio;
            QVERIFY2(deviceRows < 96 && deviceRows >= 60, qPrintable(QString::number(ratio)));
        }
    }

    void recordButtonRecordsAndAStopFromTheRecorderShows() {
        ForceScopeView view;
        const QString path = dir.filePath(QStringLiteral("button.qrec"));
        view.setFileNameAsker([&](const QString &, const QString &suggestion) {
            return suggestion.endsWith(QStringLiteral(".qrec")) ? path : QString();
        });
        auto *record = view.findChild<QPushButton *>(QStringLiteral("record_button"));
        auto *label = view.findChild<QLabel *>(QStringLiteral("record_label"));
        record->click();
        QVERIFY(record->isChecked());
        QVERIFY(TelemetryRecorder::instance().isRecording());
        QCOMPARE(label->text(), QStringLiteral("Recording to ") + path);
        TelemetryRecorder::note(Telemetry::TELEMETRY_SOURCE_DCS, TelemetryRecording::Kind::UdpDatagram, "a;1", 3);
        record->click();
        QVERIFY(!TelemetryRecorder::instance().isRecording());
        QCOMPARE(label->text(), QStringLiteral("Recording stopped"));
        TelemetryRecording::RecordingFile file;
        QVERIFY2(file.open(path), qPrintable(file.error()));
        QCOMPARE(file.recordCount(), 1);

        // The size limit ends a recording by itself; the button follows.
        record->click();
        QVERIFY(record->isChecked());
        TelemetryRecorder::instance().setLimitBytes(10);
        TelemetryRecorder::note(Telemetry::TELEMETRY_SOURCE_DCS, TelemetryRecording::Kind::UdpDatagram, "a;1", 3);
        QTRY_VERIFY(!record->isChecked());
        QVERIFY(label->text().startsWith(QStringLiteral("Recording stopped: ")));
        TelemetryRecorder::instance().setLimitBytes(TelemetryRecorder::DefaultLimitBytes);

        // Cancelling the file dialog starts nothing.
        view.setFileNameAsker([](const QString &, const QString &) { return QString(); });
        record->click();
        QVERIFY(!record->isChecked());
        QVERIFY(!TelemetryRecorder::instance().isRecording());
    }
};

QTEST_MAIN(TestForceScopeView)
#include "tst_forcescopeview.moc"
