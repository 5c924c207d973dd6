#include "aircraftfactschannel.h"
#include "fakexplane.h"
#include "telemetrysourcexplane.h"
#include "telemetrytesting.h"

#include <QFile>
#include <QSignalSpy>
#include <QtTest>

// The three X-Plane datarefs of the aircraft-class suggestion: asked for after the indexes kept for the name
// and the description, served by the fake X-Plane, and told once the aircraft is declared.
namespace {
// A level cruise of a King Air.
void cruise(FakeXPlane &xplane) {
    xplane.set("sim/flightmodel/position/indicated_airspeed", 200);
    xplane.set("sim/flightmodel/forces/g_nrml", 1);
    xplane.set("sim/flightmodel/failures/onground_any", 0);
    xplane.setAircraftName("King Air C90B");
}

// The lines of X-Plane 12.1's own DataRefs.txt for the three class datarefs and the weight whose unit they share.
QList<QByteArray> referenceLines() {
    const QList<QByteArray> wanted{"sim/aircraft/prop/acf_en_type", "sim/aircraft/weight/acf_m_max",
                                   "sim/flightmodel/weight/m_total", "sim/aircraft2/metadata/is_helicopter"};
    QFile file(QStringLiteral(QUILLAR_XPLANE_CLASS_DATAREFS));
    QList<QByteArray> lines;
    if (file.open(QIODevice::ReadOnly))
        for (const QByteArray &line : file.readAll().split('\n'))
            if (wanted.contains(line.left(line.indexOf('\t'))))
                lines << line;
    return lines;
}
} // namespace

class TestXPlaneAircraftClass : public QObject {
    Q_OBJECT

    struct Session {
        FakeXPlane xplane;
        TelemetrySourceXPlane source{nullptr, endpointOf(xplane)};
        QSignalSpy declared{&source, &TelemetrySource::telemetrySourceChanged};
        QSignalSpy facts{&AircraftFactsChannel::instance(), &AircraftFactsChannel::factsChanged};

        static XPlane::Endpoint endpointOf(const FakeXPlane &xplane) {
            XPlane::Endpoint endpoint;
            endpoint.port = xplane.port();
            return endpoint;
        }
        bool subscribe() {
            return pollUntil([this] { source.poll(); },
                             [this] {
                                 return xplane.subscriptionsByIndex().size() ==
                                        XPlane::SubscriptionCount;
                             });
        }
        AircraftFacts lastFacts() const { return facts.last().at(2).value<AircraftFacts>(); }
    };

private slots:
    void indexesAfterTheDescription() {
        QCOMPARE(int(XPlane::IsHelicopter), 139);
        QCOMPARE(int(XPlane::EngineType), 140);
        QCOMPARE(int(XPlane::MaxWeight), 141);
        QCOMPARE(XPlane::ClassSubscriptionCount, 3);
        // Right after sim/aircraft/view/acf_descrip[0..63], the last of the subscriptions.
        QCOMPARE(XPlane::dataref(XPlane::IsHelicopter - 1), QByteArray("sim/aircraft/view/acf_descrip[63]"));
        QCOMPARE(int(XPlane::ClassEndIndex), XPlane::SubscriptionCount);
        QCOMPARE(XPlane::dataref(XPlane::IsHelicopter), QByteArray("sim/aircraft2/metadata/is_helicopter"));
        QCOMPARE(XPlane::dataref(XPlane::EngineType), QByteArray("sim/aircraft/prop/acf_en_type[0]"));
        QCOMPARE(XPlane::dataref(XPlane::MaxWeight), QByteArray("sim/aircraft/weight/acf_m_max"));
        QCOMPARE(XPlane::dataref(XPlane::ClassEndIndex), QByteArray());
    }

    // Each is a dataref of X-Plane's own list, with the type the suggestion reads it as.
    void theDatarefsAreInXPlanesList() {
        const QList<QByteArray> lines = referenceLines();
        QCOMPARE(lines.size(), 4);
        auto find = [&](const QByteArray &name) {
            for (const QByteArray &line : lines)
                if (line.startsWith(name + '\t'))
                    return line.split('\t');
            return QList<QByteArray>();
        };
        QCOMPARE(find("sim/aircraft2/metadata/is_helicopter").value(1), QByteArray("int"));
        QCOMPARE(find("sim/aircraft2/metadata/is_helicopter").value(3), QByteArray("boolean"));
        const QList<QByteArray> engine = find("sim/aircraft/prop/acf_en_type");
        QCOMPARE(engine.value(1), QByteArray("int[16]"));
        for (const char *value : {"0=recip carb", "1=recip injected", "3=electric", "5=single spool jet",
                                  "6=rocket", "7=multi spool jet", "9=free turboprop", "10=fixed turboprop"})
            QVERIFY2(engine.value(4).contains(value), value);
        QCOMPARE(find("sim/aircraft/weight/acf_m_max").value(1), QByteArray("float"));
        QCOMPARE(find("sim/flightmodel/weight/m_total").value(3), QByteArray("kgs"));
    }

    void servedValuesAreToldWithTheDeclaration_data() {
        QTest::addColumn<float>("isHelicopter");
        QTest::addColumn<float>("engineType");
        QTest::addColumn<float>("maxWeight");
        QTest::addColumn<int>("expectedEngine");
        QTest::newRow("turboprop") << 0.0f << 9.0f << 4581.0f << 9;
        QTest::newRow("helicopter") << 1.0f << 9.0f << 2950.0f << 9;
        QTest::newRow("airliner") << 0.0f << 7.0f << 79015.0f << 7;
    }
    void servedValuesAreToldWithTheDeclaration() {
        QFETCH(float, isHelicopter);
        QFETCH(float, engineType);
        QFETCH(float, maxWeight);
        QFETCH(int, expectedEngine);
        Session s;
        cruise(s.xplane);
        s.xplane.set("sim/aircraft2/metadata/is_helicopter", isHelicopter);
        s.xplane.set("sim/aircraft/prop/acf_en_type[0]", engineType);
        s.xplane.set("sim/aircraft/weight/acf_m_max", maxWeight);
        QVERIFY(s.subscribe());
        QVERIFY(pollUntil([&] { s.source.poll(); }, [&] { return !s.facts.isEmpty(); }));
        QCOMPARE(s.declared.size(), 1);
        QCOMPARE(s.facts.last().at(0).value<Telemetry::Source>(), Telemetry::TELEMETRY_SOURCE_XPLANE);
        QCOMPARE(s.facts.last().at(1).toString(), QStringLiteral("King Air C90B"));
        QCOMPARE(s.lastFacts().xplaneIsHelicopter, int(isHelicopter));
        QCOMPARE(s.lastFacts().xplaneEngineType, expectedEngine);
        QCOMPARE(s.lastFacts().xplaneMaxWeightKg, maxWeight);
        QCOMPARE(s.lastFacts().msfsEngineType, -1);
        // The same values again are not told again.
        const qsizetype told = s.facts.size();
        for (int i = 0; i < 10; ++i) {
            s.xplane.answerNow();
            QTest::qWait(10);
            s.source.poll();
        }
        QCOMPARE(s.facts.size(), told);
    }

    // Values that are no engine type or weight are not passed on as such.
    void nonsenseIsNotReported() {
        XPlane::ReplyState state;
        state.received[XPlane::IsHelicopter] = state.received[XPlane::EngineType] =
            state.received[XPlane::MaxWeight] = true;
        state.values[XPlane::IsHelicopter] = 0.5f;
        state.values[XPlane::EngineType] = -3;
        state.values[XPlane::MaxWeight] = -1000;
        const AircraftFacts facts = XPlane::aircraftFacts(state);
        QCOMPARE(facts.xplaneIsHelicopter, -1);
        QCOMPARE(facts.xplaneEngineType, -1);
        QCOMPARE(facts.xplaneMaxWeightKg, -1.0f);
        QCOMPARE(XPlane::aircraftFacts(XPlane::ReplyState()), AircraftFacts());
    }
};

QTEST_GUILESS_MAIN(TestXPlaneAircraftClass)
#include "tst_xplaneaircraftclass.moc"
