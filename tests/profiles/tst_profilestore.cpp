#include "profilereader.h"
#include "profilesamples.h"
#include "profilestore.h"
#include "profilewriter.h"
#include "scratchworkingdirectory.h"

#include <QDir>
#include <QFile>
#include <QtTest>

namespace {
EffectsProfileMetadata metadata(int source, const QString &module, const QString &comment) {
    EffectsProfileMetadata m;
    m.source = Telemetry::Source(source);
    m.flightModule = module;
    m.comment = comment;
    return m;
}

QByteArray fileContents(const QString &path) {
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}
} // namespace

class TestProfileStore : public QObject {
    Q_OBJECT

private slots:
    void sourceNames() {
        QCOMPARE(ProfileStore::sourceName(0), QStringLiteral("DISABLED"));
        QCOMPARE(ProfileStore::sourceName(1), QStringLiteral("MSFS"));
        QCOMPARE(ProfileStore::sourceName(2), QStringLiteral("DCS"));
        QCOMPARE(ProfileStore::sourceName(3), QStringLiteral("IL2 SHTURMOVIK"));
        QCOMPARE(ProfileStore::sourceName(4), QStringLiteral("WARTHUNDER"));
        QCOMPARE(ProfileStore::sourceName(5), QStringLiteral("CONDOR2"));
        QCOMPARE(ProfileStore::sourceName(6), QStringLiteral("XPLANE"));
        QCOMPARE(ProfileStore::sourceName(7), QString());
        QCOMPARE(ProfileStore::sourceName(-1), QString());
    }

    void fileNames_data() {
        QTest::addColumn<int>("source");
        QTest::addColumn<QString>("module");
        QTest::addColumn<QString>("comment");
        QTest::addColumn<QString>("expected");
        QTest::newRow("generic hornet") << 0 << "F/A-18C Hornet"
                                        << ""
                                        << "GENERIC_F_A_18C_Hornet.json";
        QTest::newRow("msfs cessna soft") << 1 << "Cessna 152"
                                          << "soft"
                                          << "MSFS_Cessna_152_soft.json";
        QTest::newRow("nothing") << 0 << ""
                                 << ""
                                 << "GENERIC.json";
        QTest::newRow("comment only") << 2 << ""
                                      << "my notes!"
                                      << "DCS_my_notes_.json";
        QTest::newRow("IL-2 keeps its blank") << 3 << "Bf 109 G-6"
                                              << ""
                                              << "IL2 SHTURMOVIK_Bf_109_G_6.json";
        QTest::newRow("war thunder") << 4 << "p-51d_20"
                                     << ""
                                     << "WARTHUNDER_p_51d_20.json";
        QTest::newRow("condor") << 5 << "ASW28"
                                << "x"
                                << "CONDOR2_ASW28_x.json";
        QTest::newRow("xplane") << 6 << "Cessna 172 SP"
                                << ""
                                << "XPLANE_Cessna_172_SP.json";
        QTest::newRow("unknown source") << 9 << "A"
                                        << ""
                                        << "GENERIC_A.json";
        QTest::newRow("negative source") << -2 << ""
                                         << ""
                                         << "GENERIC.json";
        QTest::newRow("non-ASCII, one mark per character") << 1
                                                           << QString::fromUtf8("Aé٣\xF0\x9F\x98\x80"
                                                                                "9")
                                                           << ""
                                                           << "MSFS_A___9.json";
    }

    void fileNames() {
        QFETCH(int, source);
        QFETCH(QString, module);
        QFETCH(QString, comment);
        QFETCH(QString, expected);
        QCOMPARE(ProfileStore::fileNameFor(metadata(source, module, comment)), expected);
    }

    void displayTexts_data() {
        QTest::addColumn<int>("source");
        QTest::addColumn<QString>("module");
        QTest::addColumn<QString>("comment");
        QTest::addColumn<QString>("expected");
        QTest::newRow("module only") << 0 << "Cessna"
                                     << ""
                                     << "Cessna ";
        QTest::newRow("comment only shows twice") << 0 << ""
                                                  << "soft"
                                                  << "soft (soft)";
        QTest::newRow("all three") << 1 << "Cessna"
                                   << "soft"
                                   << "Cessna (soft)[MSFS]";
        QTest::newRow("nothing") << 0 << ""
                                 << ""
                                 << "";
        QTest::newRow("source only") << 5 << ""
                                     << ""
                                     << "[CONDOR2]";
        QTest::newRow("comment equal to module shown once") << 2 << "F-16C"
                                                            << "F-16C"
                                                            << "F-16C [DCS]";
        QTest::newRow("comparison is case-sensitive") << 2 << "F-16C"
                                                      << "f-16c"
                                                      << "F-16C (f-16c)[DCS]";
        QTest::newRow("IL-2") << 3 << "Yak-1"
                              << ""
                              << "Yak-1 [IL2 SHTURMOVIK]";
        QTest::newRow("X-Plane") << 6 << "Boeing 737-800"
                                 << ""
                                 << "Boeing 737-800 [XPLANE]";
        QTest::newRow("unknown source has no brackets") << 8 << "A"
                                                        << ""
                                                        << "A ";
    }

    void displayTexts() {
        QFETCH(int, source);
        QFETCH(QString, module);
        QFETCH(QString, comment);
        QFETCH(QString, expected);
        QCOMPARE(ProfileStore::displayTextFor(metadata(source, module, comment)), expected);
    }

    void listingTakesRegularFilesOnly() {
        ScratchWorkingDirectory scratch;
        QVERIFY(scratch.isValid());
        QVERIFY(scratch.writeProfile(QStringLiteral("b.json"), "{}"));
        QVERIFY(scratch.writeProfile(QStringLiteral("A.txt"), "not json"));
        QVERIFY(scratch.writeProfile(QStringLiteral(".hidden.json"), "{}"));
        QVERIFY(QDir(scratch.path()).mkpath(QStringLiteral("effect_profiles/folder.json")));
        // Files beside the folder are not profiles.
        QFile outside(scratch.path() + QStringLiteral("/outside.json"));
        QVERIFY(outside.open(QIODevice::WriteOnly));
        outside.close();
        QStringList files = ProfileStore::profileFiles();
        files.sort();
        QCOMPARE(files, (QStringList{"A.txt", "b.json"}));
    }

    void listingWithoutFolderIsEmpty() {
        ScratchWorkingDirectory scratch(ScratchWorkingDirectory::WithoutProfileFolder);
        QVERIFY(scratch.isValid());
        QCOMPARE(ProfileStore::profileFiles(), QStringList());
        QVERIFY(ProfileStore::makeFolder());
        QVERIFY(QFileInfo(scratch.path() + QStringLiteral("/effect_profiles")).isDir());
    }

    void writeThenReadBack() {
        ScratchWorkingDirectory scratch(ScratchWorkingDirectory::WithoutProfileFolder);
        QVERIFY(scratch.isValid());
        const EffectsProfile profile = ProfileSamples::allActive();
        // The folder is made when it is missing.
        QVERIFY(ProfileStore::writeProfileFile(QStringLiteral("DCS_x.json"), profile));
        QCOMPARE(fileContents(scratch.profilePath(QStringLiteral("DCS_x.json"))),
                 ProfileWriter::profileDocument(profile));
        QCOMPARE(ProfileStore::profileFiles(), QStringList{QStringLiteral("DCS_x.json")});

        EffectsProfile loaded;
        ProfileStore::readProfileFile(QStringLiteral("DCS_x.json"), loaded);
        QCOMPARE(loaded.metadata.flightModule, profile.metadata.flightModule);
        QCOMPARE(loaded.metadata.comment, profile.metadata.comment);
        QCOMPARE(loaded.metadata.source, Telemetry::TELEMETRY_SOURCE_DCS);
        QCOMPARE(loaded.settings.rudder().smartDamper.dynamic_dampening, 27.0f);

        // Saving again replaces the file whole.
        EffectsProfile other;
        other.reset();
        QVERIFY(ProfileStore::writeProfileFile(QStringLiteral("DCS_x.json"), other));
        QCOMPARE(fileContents(scratch.profilePath(QStringLiteral("DCS_x.json"))),
                 ProfileWriter::profileDocument(other));
        QCOMPARE(ProfileStore::profileFiles(), QStringList{QStringLiteral("DCS_x.json")});
    }

    void unreadableFilesReadAsEmptyDocuments() {
        ScratchWorkingDirectory scratch;
        QVERIFY(scratch.isValid());
        QVERIFY(scratch.writeProfile(QStringLiteral("broken.json"), "{\"metadata\": {\"comment\": \"a\""));
        EffectsProfile profile = ProfileSamples::allActive();
        ProfileStore::readProfileFile(QStringLiteral("broken.json"), profile);
        QCOMPARE(profile.metadata.comment, QString());
        QCOMPARE(profile.metadata.source, Telemetry::TELEMETRY_SOURCE_NONE);
        QCOMPARE(profile.settings.ailerons().simpleSpring.active, false);
        profile = ProfileSamples::allActive();
        ProfileStore::readProfileFile(QStringLiteral("missing.json"), profile);
        QCOMPARE(profile.metadata.flightModule, QString());
        QCOMPARE(profile.settings.elevator().aoaShaker.active, false);
    }

    void failedWriteLeavesTheOldFileWhole() {
        ScratchWorkingDirectory scratch;
        QVERIFY(scratch.isValid());
        const QByteArray old = ProfileWriter::profileDocument(ProfileSamples::allActive());
        QVERIFY(scratch.writeProfile(QStringLiteral("GENERIC.json"), old));
        const QString folder = scratch.path() + QStringLiteral("/effect_profiles");
        QVERIFY(QFile::setPermissions(folder, QFile::ReadOwner | QFile::ExeOwner));
        QFile probe(folder + QStringLiteral("/probe"));
        const bool folderStillWritable = probe.open(QIODevice::WriteOnly);
        if (folderStillWritable) {
            // Running as root: permissions do not stop writes, so the folder moves away and a plain file
            // takes its name, which no write can pass.
            probe.close();
            QVERIFY(QFile::setPermissions(folder, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner));
            QVERIFY(QDir(scratch.path()).rename(QStringLiteral("effect_profiles"), QStringLiteral("kept")));
            QFile blocker(folder);
            QVERIFY(blocker.open(QIODevice::WriteOnly));
            blocker.close();
        }
        EffectsProfile profile;
        profile.reset();
        QCOMPARE(ProfileStore::writeProfileFile(QStringLiteral("GENERIC.json"), profile), false);
        QCOMPARE(ProfileStore::writeProfileFile(QStringLiteral("NEW.json"), profile), false);
        const QString oldPath = folderStillWritable ? scratch.path() + QStringLiteral("/kept/GENERIC.json")
                                                    : scratch.profilePath(QStringLiteral("GENERIC.json"));
        QCOMPARE(fileContents(oldPath), old);
        QVERIFY(!QFile::exists(scratch.profilePath(QStringLiteral("NEW.json"))));
        if (!folderStillWritable)
            QCOMPARE(QDir(folder).entryList(QDir::Files | QDir::Hidden),
                     QStringList{QStringLiteral("GENERIC.json")});
    }

    void removing() {
        ScratchWorkingDirectory scratch;
        QVERIFY(scratch.isValid());
        QVERIFY(scratch.writeProfile(QStringLiteral("a.json"), "{}"));
        QVERIFY(ProfileStore::removeProfileFile(QStringLiteral("a.json")));
        QVERIFY(!QFile::exists(scratch.profilePath(QStringLiteral("a.json"))));
        QCOMPARE(ProfileStore::removeProfileFile(QStringLiteral("a.json")), false);
    }

    void matching() {
        EffectsProfileIndex index;
        index.insert(QStringLiteral("DCS_F_16C_b.json"), metadata(2, "F-16C", "b"));
        index.insert(QStringLiteral("DCS_F_16C_a.json"), metadata(2, "F-16C", "a"));
        index.insert(QStringLiteral("DCS.json"), metadata(2, "", ""));
        index.insert(QStringLiteral("MSFS_F_16C.json"), metadata(1, "F-16C", ""));
        using ProfileStore::matchingProfile;
        // Two files for the same source and module: the one whose name sorts first.
        QCOMPARE(matchingProfile(index, Telemetry::TELEMETRY_SOURCE_DCS, "F-16C"),
                 QStringLiteral("DCS_F_16C_a.json"));
        QCOMPARE(matchingProfile(index, Telemetry::TELEMETRY_SOURCE_MSFS, "F-16C"),
                 QStringLiteral("MSFS_F_16C.json"));
        // Letter case matters, and the whole text must match.
        QCOMPARE(matchingProfile(index, Telemetry::TELEMETRY_SOURCE_DCS, "f-16c"), QString());
        QCOMPARE(matchingProfile(index, Telemetry::TELEMETRY_SOURCE_DCS, "F-16"), QString());
        // A source alone matches only a profile without module, and only for an empty reported module.
        QCOMPARE(matchingProfile(index, Telemetry::TELEMETRY_SOURCE_DCS, "A-10C"), QString());
        QCOMPARE(matchingProfile(index, Telemetry::TELEMETRY_SOURCE_DCS, ""), QStringLiteral("DCS.json"));
        QCOMPARE(matchingProfile(index, Telemetry::TELEMETRY_SOURCE_CONDOR, "F-16C"), QString());
        index.insert(QStringLiteral("XPLANE_Cessna_172_SP.json"), metadata(6, "Cessna 172 SP", ""));
        QCOMPARE(matchingProfile(index, Telemetry::TELEMETRY_SOURCE_XPLANE, "Cessna 172 SP"),
                 QStringLiteral("XPLANE_Cessna_172_SP.json"));
        QCOMPARE(matchingProfile(index, Telemetry::TELEMETRY_SOURCE_MSFS, "Cessna 172 SP"), QString());
        QCOMPARE(matchingProfile(EffectsProfileIndex(), Telemetry::TELEMETRY_SOURCE_DCS, ""), QString());
    }
};

QTEST_GUILESS_MAIN(TestProfileStore)
#include "tst_profilestore.moc"
