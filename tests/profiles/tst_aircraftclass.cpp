#include "aircraftclass.h"

#include <QtTest>

using AircraftClasses::AircraftFacts;

namespace {
AircraftFacts msfs(const char *category, int engineType, int atcHeavy) {
    AircraftFacts facts;
    facts.msfsCategory = QString::fromLatin1(category);
    facts.msfsEngineType = engineType;
    facts.msfsAtcHeavy = atcHeavy;
    return facts;
}

AircraftFacts xplane(int isHelicopter, int engineType, float maxWeightKg) {
    AircraftFacts facts;
    facts.xplaneIsHelicopter = isHelicopter;
    facts.xplaneEngineType = engineType;
    facts.xplaneMaxWeightKg = maxWeightKg;
    return facts;
}
} // namespace

Q_DECLARE_METATYPE(AircraftClass)

// The class suggested for a detected aircraft without a profile: one table, row by row.
class TestAircraftClass : public QObject {
    Q_OBJECT

private slots:
    void suggestion_data() {
        QTest::addColumn<int>("source");
        QTest::addColumn<QString>("module");
        QTest::addColumn<AircraftFacts>("facts");
        QTest::addColumn<AircraftClass>("expected");
        const AircraftFacts none;
        auto row = [&](const char *name, Telemetry::Source source, const char *module,
                       const AircraftFacts &facts, AircraftClass expected) {
            QTest::newRow(name) << int(source) << QString::fromLatin1(module) << facts << expected;
        };
        using S = Telemetry::Source;
        // Every aircraft of these simulators has one class.
        row("condor", S::TELEMETRY_SOURCE_CONDOR, "", none, AircraftClass::Glider);
        row("condor named", S::TELEMETRY_SOURCE_CONDOR, "ASG 29", none, AircraftClass::Glider);
        row("il2", S::TELEMETRY_SOURCE_IL2, "Generic warbird", none, AircraftClass::Propeller);
        row("war thunder", S::TELEMETRY_SOURCE_WARTHUNDER, "Generic warbird", none, AircraftClass::Propeller);
        // DCS by its module names, exactly as reported.
        const char *jets[] = {"F-16C_50",       "FA-18C_hornet", "F-14B",       "F-14A-135-GR", "F-15C",
                              "F-15ESE",        "F-4E-45MC",     "F-5E-3",      "F-86F Sabre",  "A-10A",
                              "A-10C",          "A-10C_2",       "AV8BNA",      "AJS37",        "M-2000C",
                              "Mirage-F1CE",    "Mirage-F1EE",   "Mirage-F1BE", "JF-17",        "MiG-15bis",
                              "MiG-19P",        "MiG-21Bis",     "MiG-29A",     "MiG-29S",      "MiG-29G",
                              "MiG-29 Fulcrum", "Su-25",         "Su-25T",      "Su-27",        "Su-33",
                              "J-11A",          "L-39C",         "L-39ZA",      "C-101EB",      "C-101CC"};
        for (const char *module : jets)
            row(module, S::TELEMETRY_SOURCE_DCS, module, none, AircraftClass::Jet);
        row("C-130J-30", S::TELEMETRY_SOURCE_DCS, "C-130J-30", none, AircraftClass::Heavy);
        const char *propellers[] = {
            "P-51D",     "P-51D-30-NA", "TF-51D",   "P-47D-30",       "P-47D-30bl1",      "P-47D-40",
            "Bf-109K-4", "FW-190A8",    "FW-190D9", "SpitfireLFMkIX", "SpitfireLFMkIXCW", "MosquitoFBMkVI",
            "F4U-1D",    "F4U-1D_CW",   "I-16",     "Yak-52",         "Christen Eagle II"};
        for (const char *module : propellers)
            row(module, S::TELEMETRY_SOURCE_DCS, module, none, AircraftClass::Propeller);
        const char *helicopters[] = {"Ka-50",  "Ka-50_3",       "Mi-8MT",       "Mi-24P",
                                     "UH-1H",  "AH-64D_BLK_II", "OH58D",        "CH-47Fbl1",
                                     "SA342L", "SA342M",        "SA342Mistral", "SA342Minigun"};
        for (const char *module : helicopters)
            row(module, S::TELEMETRY_SOURCE_DCS, module, none, AircraftClass::Helicopter);
        // Unknown, and names that only look alike: the table is exact.
        row("dcs unknown", S::TELEMETRY_SOURCE_DCS, "Quillar Demo Trainer", none, AircraftClass::None);
        row("dcs empty", S::TELEMETRY_SOURCE_DCS, "", none, AircraftClass::None);
        row("dcs case", S::TELEMETRY_SOURCE_DCS, "f-16c_50", none, AircraftClass::None);
        row("dcs blank", S::TELEMETRY_SOURCE_DCS, "F-16C_50 ", none, AircraftClass::None);
        // MSFS: CATEGORY, ENGINE TYPE (0 piston, 1 jet, 2 none, 3 helo turbine, 4 unsupported, 5 turboprop),
        // ATC HEAVY.
        row("msfs piston", S::TELEMETRY_SOURCE_MSFS, "Cessna 152", msfs("Airplane", 0, 0),
            AircraftClass::Propeller);
        row("msfs jet", S::TELEMETRY_SOURCE_MSFS, "Citation", msfs("Airplane", 1, 0), AircraftClass::Jet);
        row("msfs glider", S::TELEMETRY_SOURCE_MSFS, "DG-1001", msfs("Airplane", 2, 0),
            AircraftClass::Glider);
        row("msfs helo turbine", S::TELEMETRY_SOURCE_MSFS, "H135", msfs("Helicopter", 3, 0),
            AircraftClass::Helicopter);
        row("msfs helicopter category", S::TELEMETRY_SOURCE_MSFS, "R22", msfs("Helicopter", 0, 0),
            AircraftClass::Helicopter);
        row("msfs unsupported", S::TELEMETRY_SOURCE_MSFS, "Odd", msfs("Airplane", 4, 0), AircraftClass::None);
        row("msfs turboprop", S::TELEMETRY_SOURCE_MSFS, "King Air", msfs("Airplane", 5, 0),
            AircraftClass::Propeller);
        row("msfs heavy jet", S::TELEMETRY_SOURCE_MSFS, "747", msfs("Airplane", 1, 1), AircraftClass::Heavy);
        row("msfs heavy turboprop", S::TELEMETRY_SOURCE_MSFS, "An-22", msfs("Airplane", 5, 1),
            AircraftClass::Heavy);
        row("msfs heavy piston", S::TELEMETRY_SOURCE_MSFS, "B-36", msfs("Airplane", 0, 1),
            AircraftClass::Heavy);
        row("msfs heavy glider", S::TELEMETRY_SOURCE_MSFS, "odd", msfs("Airplane", 2, 1),
            AircraftClass::Glider);
        row("msfs nothing reported", S::TELEMETRY_SOURCE_MSFS, "Cessna 152", none, AircraftClass::None);
        row("msfs engine out of range", S::TELEMETRY_SOURCE_MSFS, "x", msfs("Airplane", 17, 0),
            AircraftClass::None);
        // X-Plane: is_helicopter (12 only), acf_en_type[0], acf_m_max (kg; above 40 t is Heavy).
        row("xp recip carb", S::TELEMETRY_SOURCE_XPLANE, "C172", xplane(0, 0, 1100),
            AircraftClass::Propeller);
        row("xp recip injected", S::TELEMETRY_SOURCE_XPLANE, "Baron", xplane(0, 1, 2500),
            AircraftClass::Propeller);
        row("xp electric", S::TELEMETRY_SOURCE_XPLANE, "e", xplane(0, 3, 600), AircraftClass::Propeller);
        row("xp single spool jet", S::TELEMETRY_SOURCE_XPLANE, "j", xplane(0, 5, 9000), AircraftClass::Jet);
        row("xp rocket", S::TELEMETRY_SOURCE_XPLANE, "X-15", xplane(0, 6, 15000), AircraftClass::Jet);
        row("xp multi spool jet", S::TELEMETRY_SOURCE_XPLANE, "F-14", xplane(0, 7, 33000),
            AircraftClass::Jet);
        row("xp free turboprop", S::TELEMETRY_SOURCE_XPLANE, "KA350", xplane(0, 9, 6800),
            AircraftClass::Propeller);
        row("xp fixed turboprop", S::TELEMETRY_SOURCE_XPLANE, "t", xplane(0, 10, 5000),
            AircraftClass::Propeller);
        row("xp heavy jet", S::TELEMETRY_SOURCE_XPLANE, "B738", xplane(0, 7, 79000), AircraftClass::Heavy);
        row("xp 40 t exactly", S::TELEMETRY_SOURCE_XPLANE, "j", xplane(0, 7, 40000), AircraftClass::Jet);
        row("xp heavy turboprop", S::TELEMETRY_SOURCE_XPLANE, "C130", xplane(0, 10, 70000),
            AircraftClass::Heavy);
        row("xp helicopter", S::TELEMETRY_SOURCE_XPLANE, "R22", xplane(1, 0, 600), AircraftClass::Helicopter);
        row("xp heavy helicopter", S::TELEMETRY_SOURCE_XPLANE, "Mi-26", xplane(1, 9, 56000),
            AircraftClass::Helicopter);
        row("xp 11 without is_helicopter", S::TELEMETRY_SOURCE_XPLANE, "C172", xplane(-1, 0, 1100),
            AircraftClass::Propeller);
        row("xp unknown engine", S::TELEMETRY_SOURCE_XPLANE, "x", xplane(0, 2, 1000), AircraftClass::None);
        row("xp nothing reported", S::TELEMETRY_SOURCE_XPLANE, "x", none, AircraftClass::None);
        // No simulator, or one the table does not know.
        row("none", S::TELEMETRY_SOURCE_NONE, "F-16C_50", none, AircraftClass::None);
        row("out of range", Telemetry::Source(42), "F-16C_50", none, AircraftClass::None);
        // Facts of another simulator are not read.
        row("msfs facts on dcs", S::TELEMETRY_SOURCE_DCS, "Unknown", msfs("Helicopter", 3, 0),
            AircraftClass::None);
        row("xplane facts on msfs", S::TELEMETRY_SOURCE_MSFS, "Unknown", xplane(1, 7, 90000),
            AircraftClass::None);
    }

    void suggestion() {
        QFETCH(int, source);
        QFETCH(QString, module);
        QFETCH(AircraftFacts, facts);
        QFETCH(AircraftClass, expected);
        QCOMPARE(int(AircraftClasses::suggest(Telemetry::Source(source), module, facts)), int(expected));
    }

    void dcsTableHoldsEachNameOnce() {
        QStringList all;
        for (AircraftClass aircraftClass : AircraftClasses::all())
            all << AircraftClasses::dcsModules(aircraftClass);
        QCOMPARE(all.size(), 65);
        QCOMPARE(QSet<QString>(all.cbegin(), all.cend()).size(), all.size());
        QVERIFY(AircraftClasses::dcsModules(AircraftClass::Glider).isEmpty());
    }

    void namesAndFiles() {
        QCOMPARE(AircraftClasses::all().size(), AircraftClasses::Count);
        const QStringList names{"Jet", "Heavy", "Propeller", "Glider", "Helicopter"};
        for (int i = 0; i < names.size(); ++i) {
            const AircraftClass aircraftClass = AircraftClasses::all().at(i);
            QCOMPARE(AircraftClasses::name(aircraftClass), names.at(i));
            QCOMPARE(AircraftClasses::fromName(names.at(i)), aircraftClass);
            QCOMPARE(AircraftClasses::templateFileName(aircraftClass), names.at(i) + QStringLiteral(".json"));
        }
        QCOMPARE(AircraftClasses::name(AircraftClass::None), QString());
        QCOMPARE(AircraftClasses::fromName(QStringLiteral("jet")), AircraftClass::None);
        QCOMPARE(AircraftClasses::templateFileName(AircraftClass::None), QString());
        QVERIFY(AircraftClasses::templateDocument(AircraftClass::None).isEmpty());
        EffectsProfile profile;
        profile.metadata.comment = QStringLiteral("kept");
        QVERIFY(!AircraftClasses::loadTemplate(AircraftClass::None, profile));
        QCOMPARE(profile.metadata.comment, QStringLiteral("kept"));
    }
};

QTEST_GUILESS_MAIN(TestAircraftClass)
#include "tst_aircraftclass.moc"
