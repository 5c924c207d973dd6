#include "demoprofile.h"
#include "profilereader.h"
#include "profilewriter.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QtTest>

namespace {
QByteArray contents(const QString &path) {
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}
} // namespace

class TestDemoProfile : public QObject {
    Q_OBJECT

private:
    QTemporaryDir dir;

private slots:
    void shippedProfileIsForTheDemoFlight() {
        const QByteArray shipped = contents(QStringLiteral(":/quillar/demo/DCS_Quillar_Demo_Trainer.json"));
        QVERIFY(!shipped.isEmpty());
        EffectsProfile profile;
        ProfileReader::readProfileDocument(profile, shipped);
        QCOMPARE(profile.metadata.source, Telemetry::TELEMETRY_SOURCE_DCS);
        QCOMPARE(profile.metadata.flightModule, QStringLiteral("Quillar Demo Trainer"));
        QCOMPARE(profile.metadata.comment, QString());
        // Written as the program itself writes profiles: saving it unchanged gives the same bytes.
        QCOMPARE(ProfileWriter::profileDocument(profile), shipped);
        // Every axis feels the flight: a spring, shakers and a damper.
        for (const AxisEffectsSettings &axis : profile.settings.axes) {
            QVERIFY(axis.airflowSpring.active);
            QVERIFY(axis.simpleSpring.active);
            QVERIFY(axis.onGroundRollingShaker.active);
            QVERIFY(axis.aoaShaker.active);
            QVERIFY(axis.landingJolt.active);
            QVERIFY(axis.smartDamper.active);
        }
        QCOMPARE(profile.settings.axes[0].smartDamper.static_dampening, 10.0f);
        QCOMPARE(profile.settings.axes[2].smartDamper.static_dampening, 20.0f);
        QCOMPARE(demoProfileFileName(), QStringLiteral("DCS_Quillar_Demo_Trainer.json"));
    }

    void installedIntoAFolderWithoutIt() {
        const QString folder = dir.filePath(QStringLiteral("fresh/effect_profiles"));
        QVERIFY(installDemoProfile(folder));
        QCOMPARE(contents(folder + QStringLiteral("/DCS_Quillar_Demo_Trainer.json")),
                 contents(QStringLiteral(":/quillar/demo/DCS_Quillar_Demo_Trainer.json")));
        QCOMPARE(QDir(folder).entryList(QDir::Files), QStringList{QStringLiteral("DCS_Quillar_Demo_Trainer.json")});
    }

    // A user who already keeps profiles gets the demo one beside them; theirs stay as they were.
    void aFolderWithProfilesGetsItBesideThem() {
        const QString folder = dir.filePath(QStringLiteral("kept"));
        QVERIFY(QDir().mkpath(folder));
        QFile own(folder + QStringLiteral("/DCS_F_16C_50.json"));
        QVERIFY(own.open(QIODevice::WriteOnly));
        own.write("{}");
        own.close();
        QVERIFY(installDemoProfile(folder));
        QCOMPARE(QDir(folder).entryList(QDir::Files, QDir::Name),
                 (QStringList{QStringLiteral("DCS_F_16C_50.json"), QStringLiteral("DCS_Quillar_Demo_Trainer.json")}));
        QCOMPARE(contents(own.fileName()), QByteArray("{}"));
        QVERIFY(!installDemoProfile(folder)); // and once only
    }

    void anEmptyFolderGetsIt() {
        const QString folder = dir.filePath(QStringLiteral("empty"));
        QVERIFY(QDir().mkpath(folder));
        QVERIFY(installDemoProfile(folder));
        QVERIFY(QFile::exists(folder + QStringLiteral("/DCS_Quillar_Demo_Trainer.json")));
    }

    void aUsersFileOfThatNameIsKept() {
        const QString folder = dir.filePath(QStringLiteral("used"));
        QVERIFY(QDir().mkpath(folder));
        QFile own(folder + QStringLiteral("/DCS_Quillar_Demo_Trainer.json"));
        QVERIFY(own.open(QIODevice::WriteOnly));
        own.write("{\"metadata\": {\"comment\": \"mine\"}}");
        own.close();
        QVERIFY(!installDemoProfile(folder));
        QCOMPARE(contents(own.fileName()), QByteArray("{\"metadata\": {\"comment\": \"mine\"}}"));
    }
};

QTEST_GUILESS_MAIN(TestDemoProfile)
#include "tst_demoprofile.moc"
