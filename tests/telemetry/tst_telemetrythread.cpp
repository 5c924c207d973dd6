#include "fakesimconnect.h"
#include "httpstub.h"
#include "fakexplane.h"
#include "il2packet.h"
#include "telemetrysourcecondor2.h"
#include "telemetrysourcedcs.h"
#include "telemetrysourcemsfs.h"
#include "telemetrysourceshturmovik.h"
#include "telemetrysourcewarthunder.h"
#include "telemetrysourcexplane.h"
#include "telemetrytesting.h"
#include "telemetrythread.h"
#include "udpsender.h"

#include <QDir>
#include <QFile>
#include <QMetaMethod>
#include <QSignalSpy>
#include <QTcpServer>
#include <QTemporaryDir>
#include <QTimer>
#include <QtTest>

namespace {
TelemetryThread::Endpoints freeEndpoints() {
    TelemetryThread::Endpoints endpoints;
    endpoints.dcsPort = 0;
    endpoints.shturmovikPort = 0;
    endpoints.condor2Port = 0;
    // War Thunder asks a port nobody listens on: every request fails at once, as with the game not running.
    QTcpServer probe;
    probe.listen(QHostAddress(QHostAddress::LocalHost), 0);
    endpoints.warthunderUrl = QUrl(QStringLiteral("http://127.0.0.1:%1/state").arg(probe.serverPort()));
    // X-Plane's subscriptions go to a port nobody answers on.
    endpoints.xplane.port = UdpSender::freePort();
    return endpoints;
}

quint16 portOf(TelemetryThread &thread, Telemetry::Source source) {
    return qobject_cast<TelemetrySourceUdp *>(thread.source(source))->localPort();
}

void letDatagramsArrive() {
    QTest::qWait(150);
}
} // namespace

class TestTelemetryThread : public QObject {
    Q_OBJECT

    // Everything the worker emits, in order, by signal name (records with their airspeed).
    struct Log {
        explicit Log(TelemetryThread &thread) {
            QObject::connect(&thread, &TelemetryThread::msfsTelemetryChanged, [this](const MSFSTelemetry &t) {
                entries << QStringLiteral("msfs %1").arg(t.airspeed);
            });
            QObject::connect(&thread, &TelemetryThread::dcsTelemetryChanged, [this](const DCSTelemetry &t) {
                entries << QStringLiteral("dcs %1").arg(t.airspeed);
            });
            QObject::connect(&thread, &TelemetryThread::shturmovikTelemetryChanged,
                             [this](const ShturmovikTelemetry &t) { entries << QStringLiteral("il2 %1").arg(t.airspeed); });
            QObject::connect(&thread, &TelemetryThread::condor2TelemetryChanged, [this](const Condor2Telemetry &t) {
                entries << QStringLiteral("condor %1").arg(t.airspeed);
            });
            QObject::connect(&thread, &TelemetryThread::warthunderTelemetryChanged,
                             [this](const WarthunderTelemetry &t) {
                                 entries << QStringLiteral("warthunder %1").arg(t.airspeed);
                             });
            QObject::connect(&thread, &TelemetryThread::xplaneTelemetryChanged, [this](const XPlaneTelemetry &t) {
                entries << QStringLiteral("xplane %1").arg(t.airspeed);
            });
            QObject::connect(&thread, &TelemetryThread::telemetrySourceChanged,
                             [this](Telemetry::Source source, const QString &name) {
                                 entries << QStringLiteral("declared %1 %2").arg(int(source)).arg(name);
                             });
            QObject::connect(&thread, &TelemetryThread::telemetryEnded, [this] { entries << QStringLiteral("ended"); });
            QObject::connect(&thread, &TelemetryThread::landed, [this](float verticalSpeed, float airspeed) {
                entries << QStringLiteral("landed %1 %2").arg(verticalSpeed).arg(airspeed);
            });
        }
        QStringList take() {
            QStringList taken = entries;
            entries.clear();
            return taken;
        }
        QStringList entries;
    };

private slots:
    void init() { ManualClock::install(); }
    void cleanup() { ManualClock::uninstall(); }

    void metaMethodsAreNumberedAsPublished() {
        const QMetaObject &meta = TelemetryThread::staticMetaObject;
        const QList<QByteArray> expected = {
            "msfsTelemetryChanged(MSFSTelemetry)",
            "dcsTelemetryChanged(DCSTelemetry)",
            "shturmovikTelemetryChanged(ShturmovikTelemetry)",
            "condor2TelemetryChanged(Condor2Telemetry)",
            "warthunderTelemetryChanged(WarthunderTelemetry)",
            "telemetrySourceChanged(Telemetry::Source,QString)",
            "telemetryEnded()",
            "landed(float,float)",
            "xplaneTelemetryChanged(XPlaneTelemetry)",
            "start()",
            "onTimeout()",
        };
        QCOMPARE(meta.methodCount() - meta.methodOffset(), int(expected.size()));
        for (int i = 0; i < expected.size(); ++i) {
            const QMetaMethod method = meta.method(meta.methodOffset() + i);
            QCOMPARE(method.methodSignature(), expected[i]);
            QCOMPARE(method.methodType(), i < 9 ? QMetaMethod::Signal : QMetaMethod::Slot);
        }
        const QMetaMethod landed = meta.method(meta.methodOffset() + 7);
        QCOMPARE(landed.parameterNames(), (QList<QByteArray>{"verticalSpeed", "airspeed"}));
    }

    void theSourceTableHoldsOneSourcePerSimulator() {
        TelemetryThread thread(freeEndpoints());
        QCOMPARE(thread.source(0), nullptr);
        QVERIFY(qobject_cast<TelemetrySourceMSFS *>(thread.source(Telemetry::TELEMETRY_SOURCE_MSFS)));
        QVERIFY(qobject_cast<TelemetrySourceDCS *>(thread.source(Telemetry::TELEMETRY_SOURCE_DCS)));
        QVERIFY(qobject_cast<TelemetrySourceShturmovik *>(thread.source(Telemetry::TELEMETRY_SOURCE_IL2)));
        QVERIFY(qobject_cast<TelemetrySourceWarthunder *>(thread.source(Telemetry::TELEMETRY_SOURCE_WARTHUNDER)));
        QVERIFY(qobject_cast<TelemetrySourceCondor2 *>(thread.source(Telemetry::TELEMETRY_SOURCE_CONDOR)));
        QVERIFY(qobject_cast<TelemetrySourceXPlane *>(thread.source(Telemetry::TELEMETRY_SOURCE_XPLANE)));
        QCOMPARE(thread.source(-1), nullptr);
        QCOMPARE(thread.source(7), nullptr);
        for (int i = 1; i < Telemetry::SourceCount; ++i)
            QCOMPARE(thread.source(i)->parent(), &thread);
        QCOMPARE(thread.currentActiveSource(), Telemetry::TELEMETRY_SOURCE_NONE);
        QCOMPARE(thread.parent(), nullptr);
    }

    void theDefaultsAreTheSimulatorsFixedPorts() {
        const TelemetryThread::Endpoints defaults;
        QCOMPARE(defaults.dcsPort, quint16(29778));
        QCOMPARE(defaults.shturmovikPort, quint16(29777));
        QCOMPARE(defaults.condor2Port, quint16(55278));
        QCOMPARE(defaults.warthunderUrl, QUrl(QStringLiteral("http://127.0.0.1:8111/state")));
        QCOMPARE(defaults.xplane.host, QHostAddress(QStringLiteral("127.0.0.1")));
        QCOMPARE(defaults.xplane.port, quint16(49000));
        // Another program may hold a port; then that source binds nothing, silently.
        TelemetryThread thread;
        const quint16 dcs = portOf(thread, Telemetry::TELEMETRY_SOURCE_DCS);
        const quint16 il2 = portOf(thread, Telemetry::TELEMETRY_SOURCE_IL2);
        const quint16 condor = portOf(thread, Telemetry::TELEMETRY_SOURCE_CONDOR);
        QVERIFY2(dcs == 29778 || dcs == 0, qPrintable(QString::number(dcs)));
        QVERIFY2(il2 == 29777 || il2 == 0, qPrintable(QString::number(il2)));
        QVERIFY2(condor == 55278 || condor == 0, qPrintable(QString::number(condor)));
    }

    // The settings file sits where XDG_CONFIG_HOME says only on Linux; elsewhere Qt has its own folders.
#ifdef Q_OS_LINUX
    void theProgramsWorkerAsksXPlaneWhereTheSettingsFileSays() {
        QTemporaryDir config;
        QVERIFY(QDir(config.path()).mkpath(QStringLiteral("vortane-quillar")));
        QFile file(config.filePath(QStringLiteral("vortane-quillar/quillar.conf")));
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write("[xplane]\nhost=10.1.2.3\nport=49123\n");
        file.close();
        const QByteArray saved = qgetenv("XDG_CONFIG_HOME");
        qputenv("XDG_CONFIG_HOME", config.path().toLocal8Bit());
        TelemetryThread configured;
        TelemetryThread::Endpoints endpoints = freeEndpoints();
        endpoints.xplane.port = 49001;
        const TelemetryThread explicitEndpoints(endpoints);
        if (saved.isNull())
            qunsetenv("XDG_CONFIG_HOME");
        else
            qputenv("XDG_CONFIG_HOME", saved);
        auto *xplane = qobject_cast<TelemetrySourceXPlane *>(configured.source(Telemetry::TELEMETRY_SOURCE_XPLANE));
        QVERIFY(xplane);
        QCOMPARE(xplane->endpoint().host, QHostAddress(QStringLiteral("10.1.2.3")));
        QCOMPARE(xplane->endpoint().port, quint16(49123));
        // Endpoints handed over explicitly are taken as they are.
        auto *given =
            qobject_cast<TelemetrySourceXPlane *>(explicitEndpoints.source(Telemetry::TELEMETRY_SOURCE_XPLANE));
        QCOMPARE(given->endpoint().host, QHostAddress(QStringLiteral("127.0.0.1")));
        QCOMPARE(given->endpoint().port, quint16(49001));
    }
#endif

    void startRunsThe20MsPreciseTimer() {
        TelemetryThread thread(freeEndpoints());
        QTimer *timer = thread.findChild<QTimer *>(QString(), Qt::FindDirectChildrenOnly);
        QVERIFY(timer);
        QVERIFY(!timer->isActive());
        thread.start();
        QVERIFY(timer->isActive());
        QCOMPARE(timer->interval(), 20);
        QCOMPARE(timer->timerType(), Qt::PreciseTimer);
    }

    void theTimerDrivesDetection() {
        ManualClock::uninstall(); // real time throughout
        TelemetryThread thread(freeEndpoints());
        QSignalSpy declared(&thread, &TelemetryThread::telemetrySourceChanged);
        QSignalSpy records(&thread, &TelemetryThread::dcsTelemetryChanged);
        thread.start();
        UdpSender dcs(portOf(thread, Telemetry::TELEMETRY_SOURCE_DCS));
        QVERIFY(dcs.send("F-4E;0;0;0;0;0;0;0;0;0"));
        QTRY_COMPARE_WITH_TIMEOUT(declared.count(), 1, 10000);
        QCOMPARE(thread.currentActiveSource(), Telemetry::TELEMETRY_SOURCE_DCS);
        QVERIFY(dcs.send("F-4E;500;0;0;0;0;0;0;0;0"));
        QTRY_COMPARE_WITH_TIMEOUT(records.count(), 1, 10000);
        QCOMPARE(records[0][0].value<DCSTelemetry>().airspeed, 500.0f);
    }

    void onlyTheActiveSourceIsPolled() {
        TelemetryThread thread(freeEndpoints());
        Log log(thread);
        UdpSender dcs(portOf(thread, Telemetry::TELEMETRY_SOURCE_DCS));
        UdpSender il2(portOf(thread, Telemetry::TELEMETRY_SOURCE_IL2));
        QVERIFY(dcs.send("Su-25T;0;0;0;0;0;0;0;0;0"));
        QVERIFY(pollUntil([&] { thread.onTimeout(); }, [&] { return !log.entries.isEmpty(); }));
        QCOMPARE(log.take(), QStringList{"declared 2 Su-25T"});
        QCOMPARE(thread.currentActiveSource(), Telemetry::TELEMETRY_SOURCE_DCS);

        QVERIFY(il2.send(Il2Packet().indicator(6, {100}).bytes()));
        QVERIFY(dcs.send("Su-25T;400;0;0;0;0;0;0;0;0"));
        letDatagramsArrive();
        thread.onTimeout();
        thread.onTimeout();
        QCOMPARE(log.take(), QStringList{"dcs 400"});
        QVERIFY(!thread.source(Telemetry::TELEMETRY_SOURCE_IL2)->isActive());

        // DCS ends; the next tick polls everything again and IL-2 finds its waiting packet.
        ManualClock::now += 1001;
        thread.onTimeout();
        QCOMPARE(log.take(), (QStringList{"dcs 0", "ended"}));
        QCOMPARE(thread.currentActiveSource(), Telemetry::TELEMETRY_SOURCE_NONE);
        thread.onTimeout();
        QCOMPARE(log.take(), QStringList{"declared 3 Generic warbird"});
        QCOMPARE(thread.currentActiveSource(), Telemetry::TELEMETRY_SOURCE_IL2);
    }

    void theLastDeclarationWinsAndTheLoserStaysActive() {
        TelemetryThread thread(freeEndpoints());
        Log log(thread);
        UdpSender dcs(portOf(thread, Telemetry::TELEMETRY_SOURCE_DCS));
        UdpSender condor(portOf(thread, Telemetry::TELEMETRY_SOURCE_CONDOR));
        QVERIFY(dcs.send("Hawk;0;0;0;0;0;0;0;0;0"));
        QVERIFY(condor.send("airspeed=20\r\n"));
        letDatagramsArrive();
        thread.onTimeout();
        QCOMPARE(log.take(), (QStringList{"declared 2 Hawk", "declared 5 Generic glider"}));
        QCOMPARE(thread.currentActiveSource(), Telemetry::TELEMETRY_SOURCE_CONDOR);
        QVERIFY(thread.source(Telemetry::TELEMETRY_SOURCE_DCS)->isActive());

        // Only Condor is polled now: DCS's datagram waits.
        QVERIFY(dcs.send("Hawk;300;0;0;0;0;0;0;0;0"));
        QVERIFY(condor.send("airspeed=25\r\n"));
        letDatagramsArrive();
        thread.onTimeout();
        QCOMPARE(log.take(), QStringList{"condor 90"});

        // Condor ends. DCS, polled again, is still active in its own eyes: it decodes without declaring, so
        // the worker's active source stays none.
        ManualClock::now += 1001;
        thread.onTimeout();
        QCOMPARE(log.take(), (QStringList{"condor 0", "ended"}));
        thread.onTimeout();
        QCOMPARE(log.take(), QStringList{"dcs 300"});
        QCOMPARE(thread.currentActiveSource(), Telemetry::TELEMETRY_SOURCE_NONE);

        // Its own silence still ends it, with the idle record first.
        ManualClock::now += 1001;
        thread.onTimeout();
        QCOMPARE(log.take(), (QStringList{"dcs 0", "ended"}));
        QVERIFY(!thread.source(Telemetry::TELEMETRY_SOURCE_DCS)->isActive());
    }

    void landedComesFromDcsAndIl2() {
        TelemetryThread thread(freeEndpoints());
        Log log(thread);
        UdpSender dcs(portOf(thread, Telemetry::TELEMETRY_SOURCE_DCS));
        QVERIFY(dcs.send("C-101;0;0;0;0;0;0;0;0;0"));
        QVERIFY(pollUntil([&] { thread.onTimeout(); }, [&] { return !log.entries.isEmpty(); }));
        QVERIFY(dcs.send("C-101;180;-2;0;0;0;0;0;0;1"));
        QVERIFY(pollUntil([&] { thread.onTimeout(); }, [&] { return log.entries.size() == 3; }));
        QCOMPARE(log.take(), (QStringList{"declared 2 C-101", "landed -2 180", "dcs 180"}));
        ManualClock::now += 1001;
        thread.onTimeout();
        log.take();

        UdpSender il2(portOf(thread, Telemetry::TELEMETRY_SOURCE_IL2));
        QVERIFY(il2.send(Il2Packet().indicator(5, {0}).bytes()));
        QVERIFY(pollUntil([&] { thread.onTimeout(); }, [&] { return !log.entries.isEmpty(); }));
        QVERIFY(il2.send(Il2Packet().indicator(5, {1}).indicator(6, {50}).bytes()));
        QVERIFY(pollUntil([&] { thread.onTimeout(); }, [&] { return log.entries.size() == 3; }));
        QCOMPARE(log.entries[1].left(7), QStringLiteral("landed "));
        QVERIFY(log.entries[1].endsWith(QStringLiteral(" 180")));
        QCOMPARE(log.entries[2], QStringLiteral("il2 180"));
    }

    void xplaneDeclaresLastInTableOrderAndIsThenPolledAlone() {
        FakeXPlane xplane;
        xplane.setAnswering(false);
        TelemetryThread::Endpoints endpoints = freeEndpoints();
        endpoints.xplane.port = xplane.port();
        TelemetryThread thread(endpoints);
        Log log(thread);
        QVERIFY(pollUntil([&] { thread.onTimeout(); }, [&] { return xplane.subscriptionsByIndex().size() == 78; }));
        xplane.set("sim/flightmodel/position/indicated_airspeed", 100);
        xplane.setAircraftName("Cessna 172 SP");

        UdpSender dcs(portOf(thread, Telemetry::TELEMETRY_SOURCE_DCS));
        QVERIFY(dcs.send("Hawk;0;0;0;0;0;0;0;0;0"));
        xplane.answerNow();
        letDatagramsArrive();
        thread.onTimeout();
        QCOMPARE(log.take(), (QStringList{"declared 2 Hawk", "declared 6 Cessna 172 SP"}));
        QCOMPARE(thread.currentActiveSource(), Telemetry::TELEMETRY_SOURCE_XPLANE);

        // Only X-Plane is polled now: DCS's datagram waits.
        QVERIFY(dcs.send("Hawk;300;0;0;0;0;0;0;0;0"));
        xplane.answerNow();
        letDatagramsArrive();
        thread.onTimeout();
        QCOMPARE(log.take(), QStringList{"xplane 185.2"});

        // X-Plane falls silent; DCS, polled again, decodes without declaring.
        ManualClock::now += 1001;
        thread.onTimeout();
        QCOMPARE(log.take(), (QStringList{"xplane 0", "ended"}));
        QCOMPARE(thread.currentActiveSource(), Telemetry::TELEMETRY_SOURCE_NONE);
        thread.onTimeout();
        QCOMPARE(log.take(), QStringList{"dcs 300"});
    }

    void everySourcesLandedReachesTheWorker() {
        TelemetryThread thread(freeEndpoints());
        QSignalSpy landed(&thread, &TelemetryThread::landed);
        for (int i = 1; i < Telemetry::SourceCount; ++i)
            emit thread.source(i)->landed(float(-i), float(100 * i));
        QCOMPARE(landed.count(), 6);
        for (int i = 1; i < Telemetry::SourceCount; ++i) {
            QCOMPARE(landed[i - 1][0].toFloat(), float(-i));
            QCOMPARE(landed[i - 1][1].toFloat(), float(100 * i));
        }
    }

    void anyDeclarationOrEndIsRelayed() {
        TelemetryThread thread(freeEndpoints());
        Log log(thread);
        TelemetrySource *msfs = thread.source(Telemetry::TELEMETRY_SOURCE_MSFS);
        emit msfs->telemetrySourceChanged(Telemetry::TELEMETRY_SOURCE_MSFS, QStringLiteral("Cessna 172"));
        QCOMPARE(thread.currentActiveSource(), Telemetry::TELEMETRY_SOURCE_MSFS);
        emit qobject_cast<TelemetrySourceMSFS *>(msfs)->telemetryChanged(MSFSTelemetry());
        emit msfs->telemetryEnded();
        QCOMPARE(thread.currentActiveSource(), Telemetry::TELEMETRY_SOURCE_NONE);
        QCOMPARE(log.take(), (QStringList{"declared 1 Cessna 172", "msfs 0", "ended"}));
    }

    // With nothing running every tick polls MSFS, and polls it first: its open attempt comes on each tick, and
    // when MSFS and DCS both have data in one tick, MSFS declares first, so DCS (later in the table) wins.
    void withNothingRunningEveryTickPollsMsfsFirst() {
        FakeSimConnect fake;
        fake.setOpenSucceeds(false);
        TelemetryThread::Endpoints endpoints = freeEndpoints();
        endpoints.simConnect = [&fake] { return fake.createSeam(); };
        TelemetryThread thread(endpoints);
        Log log(thread);
        for (int tick = 1; tick <= 5; ++tick) {
            thread.onTimeout();
            QCOMPARE(fake.openCalls, tick);
        }
        QCOMPARE(log.take(), QStringList());

        fake.setOpenSucceeds(true);
        fake.queueData(0, QByteArray(400, '\0').replace(144, 6, "Cessna"));
        UdpSender dcs(portOf(thread, Telemetry::TELEMETRY_SOURCE_DCS));
        QVERIFY(dcs.send("MiG-29A;0;0;0;0;0;0;0;0;0"));
        letDatagramsArrive();
        thread.onTimeout();
        QCOMPARE(fake.openCalls, 6);
        QCOMPARE(log.take(), (QStringList{"declared 1 Cessna", "declared 2 MiG-29A"}));
        QCOMPARE(thread.currentActiveSource(), Telemetry::TELEMETRY_SOURCE_DCS);
        // MSFS stays active in its own eyes and is no longer polled while DCS is the active source.
        QVERIFY(thread.source(Telemetry::TELEMETRY_SOURCE_MSFS)->isActive());
        const int dispatches = fake.dispatchCalls;
        thread.onTimeout();
        QCOMPARE(fake.dispatchCalls, dispatches);
    }

    // War Thunder answers only after the tick that asked: a reply that arrives after another source declared
    // in that tick declares War Thunder over it, and from then on only War Thunder is polled.
    void aWarThunderReplyAfterAnotherSourceDeclared() {
        HttpStub stub;
        QVERIFY(stub.listen());
        stub.answer(R"({"IAS, km/h": 300})");
        TelemetryThread::Endpoints endpoints = freeEndpoints();
        endpoints.warthunderUrl = stub.url();
        TelemetryThread thread(endpoints);
        Log log(thread);
        UdpSender dcs(portOf(thread, Telemetry::TELEMETRY_SOURCE_DCS));
        QVERIFY(dcs.send("F-5E-3;0;0;0;0;0;0;0;0;0"));
        letDatagramsArrive();
        thread.onTimeout();
        QCOMPARE(log.take(), QStringList{"declared 2 F-5E-3"});
        QCOMPARE(thread.currentActiveSource(), Telemetry::TELEMETRY_SOURCE_DCS);
        QVERIFY(QTest::qWaitFor([&] { return !log.entries.isEmpty(); }, 10000));
        QCOMPARE(log.take(), QStringList{"declared 4 Generic warbird"});
        QCOMPARE(thread.currentActiveSource(), Telemetry::TELEMETRY_SOURCE_WARTHUNDER);
        QVERIFY(thread.source(Telemetry::TELEMETRY_SOURCE_DCS)->isActive());

        // Only War Thunder is polled now: its next reply is decoded, DCS's waiting datagram is not read.
        QVERIFY(dcs.send("F-5E-3;500;0;0;0;0;0;0;0;0"));
        letDatagramsArrive();
        QVERIFY(pollUntil([&] { thread.onTimeout(); }, [&] { return !log.entries.isEmpty(); }));
        QCOMPARE(log.take(), QStringList{"warthunder 300"});
        QCOMPARE(stub.requestCount(), 2);
    }

    void withNothingRunningWarThunderKeepsOneRequestOutstanding() {
        TelemetryThread::Endpoints endpoints = freeEndpoints();
        QTcpServer silent;
        QVERIFY(silent.listen(QHostAddress(QHostAddress::LocalHost), 0));
        endpoints.warthunderUrl.setPort(silent.serverPort());
        TelemetryThread thread(endpoints);
        for (int i = 0; i < 5; ++i)
            thread.onTimeout();
        QVERIFY(QTest::qWaitFor([&] { return silent.hasPendingConnections(); }, 5000));
        QTest::qWait(30);
        int connections = 0;
        while (QTcpSocket *connection = silent.nextPendingConnection()) {
            ++connections;
            connection->setParent(&silent);
        }
        QCOMPARE(connections, 1);
    }
};

QTEST_GUILESS_MAIN(TestTelemetryThread)
#include "tst_telemetrythread.moc"
