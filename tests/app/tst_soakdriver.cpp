#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QTemporaryDir>
#include <QTimer>
#include <QUdpSocket>
#include <QtTest>

#include "devicelog.h"
#include "programlauncher.h"

// The soak run's stand-in for a user, preloaded into the whole program: once DCS has switched a profile on,
// it changes the rudder spring in the editor and presses "Save", and the program writes that profile file.
namespace {
constexpr quint16 DcsPort = 29778;
constexpr int InitialRudderSpring = 80;
const QString ProfileName = QStringLiteral("DCS_F_16C_50.json");
// The demo flight's profile, which the program puts beside any others at start.
const QString DemoProfileName = QStringLiteral("DCS_Quillar_Demo_Trainer.json");

QByteArray profile() {
    const QJsonObject rudder{
        {"simple_spring", QJsonObject{{"active", true}, {"total_effect_strength", InitialRudderSpring}}}};
    const QJsonObject ailerons{{"direct_x", QJsonObject{{"active", true},
                                                        {"total_effect_strength", 100},
                                                        {"trimmer", 20},
                                                        {"force", 0},
                                                        {"periodic", 0}}}};
    const QJsonObject metadata{{"flight_data_source", 2}, {"flight_module", "F-16C_50"}, {"comment", ""}};
    const QJsonObject effects{{"ailerons", ailerons}, {"elevator", QJsonObject()}, {"rudder", rudder}};
    return QJsonDocument(QJsonObject{{"metadata", metadata}, {"effects", effects}}).toJson();
}

} // namespace

class TestSoakDriver : public QObject {
    Q_OBJECT

private:
    QTemporaryDir scratch;
    QProcess program;

    QString profilesDirectory() const { return scratch.filePath(QStringLiteral("work/effect_profiles")); }
    QString savesLog() const { return scratch.filePath(QStringLiteral("saves.log")); }

    QList<QByteArray> savedLines() const {
        QList<QByteArray> saved;
        for (const QByteArray &line : readAll(savesLog()).split('\n')) {
            if (line.contains(" saved "))
                saved << line;
        }
        return saved;
    }

private slots:
    void initTestCase() {
        QVERIFY(scratch.isValid());
        {
            QUdpSocket probe;
            if (!probe.bind(QHostAddress::Any, DcsPort))
                QFAIL("UDP port 29778 (DCS) is taken on this machine; free it to run this test");
        }
        QVERIFY(QDir(scratch.path()).mkpath(QStringLiteral("work/effect_profiles")));
        QVERIFY(QDir(scratch.path()).mkpath(QStringLiteral("hid")));
        QFile profileFile(profilesDirectory() + QLatin1Char('/') + ProfileName);
        QVERIFY(profileFile.open(QIODevice::WriteOnly));
        profileFile.write(profile());
        profileFile.close();

        QProcessEnvironment driver;
        driver.insert(QStringLiteral("QUILLAR_SOAK_DRIVER_LOG"), savesLog());
        driver.insert(QStringLiteral("QUILLAR_SOAK_SAVE_MS"), QStringLiteral("300"));
        startProgram(program, scratch.filePath(QStringLiteral("work")),
                     scratch.filePath(QStringLiteral("hid")), {QStringLiteral(QUILLAR_SOAK_DRIVER)}, driver);
        QVERIFY2(program.waitForStarted(30000), qPrintable(program.errorString()));
    }

    void cleanupTestCase() {
        if (program.state() != QProcess::NotRunning) {
            program.kill();
            program.waitForFinished(30000);
        }
    }

    void savesNothingBeforeAProfileIsLoaded() {
        QTRY_VERIFY2_WITH_TIMEOUT(readAll(savesLog()).contains("skipped no profile loaded"),
                                  program.readAll().constData(), 60000);
        QVERIFY(savedLines().isEmpty());
        QCOMPARE(QDir(profilesDirectory()).entryList(QDir::Files), (QStringList{ProfileName, DemoProfileName}));
    }

    void savesTheActivatedProfileThroughTheSaveButton() {
        QUdpSocket dcs;
        QTimer sender;
        sender.setInterval(20);
        connect(&sender, &QTimer::timeout, this, [&dcs] {
            dcs.writeDatagram("F-16C_50;420;-1.5;4;1.2;0;0;0;0;0", QHostAddress(QHostAddress::LocalHost),
                              DcsPort);
        });
        sender.start();
        QTRY_VERIFY2_WITH_TIMEOUT(savedLines().size() >= 2, program.readAll().constData(), 60000);
        sender.stop();
        QVERIFY2(program.state() == QProcess::Running, program.readAll().constData());

        // The first save sets 11, the next 12, and so on; each line names what the editor showed.
        const QList<QByteArray> saved = savedLines();
        QVERIFY2(saved[0].endsWith(" saved source=2 module=F-16C_50 rudder_spring=11"), saved[0].constData());
        QVERIFY2(saved[1].endsWith(" saved source=2 module=F-16C_50 rudder_spring=12"), saved[1].constData());

        // The file holds the last save, everything else as it was; no other file appeared. A save may be
        // under way while the file is read, so wait for the file and the log to agree.
        const QString path = profilesDirectory() + QLatin1Char('/') + ProfileName;
        auto lastLoggedSpring = [this] { return savedLines().constLast().split('=').constLast().toInt(); };
        auto savedSpring = [&] {
            const QJsonObject root = QJsonDocument::fromJson(readAll(path)).object();
            return root.value("effects")["rudder"]["simple_spring"]["total_effect_strength"].toDouble();
        };
        QTRY_COMPARE_WITH_TIMEOUT(savedSpring(), double(lastLoggedSpring()), 10000);
        const QJsonObject root = QJsonDocument::fromJson(readAll(path)).object();
        const QJsonObject metadata = root.value("metadata").toObject();
        QCOMPARE(metadata.value("flight_data_source").toInt(), 2);
        QCOMPARE(metadata.value("flight_module").toString(), QStringLiteral("F-16C_50"));
        QCOMPARE(metadata.value("comment").toString(), QString());
        QCOMPARE(root.value("effects")["ailerons"]["direct_x"]["trimmer"].toDouble(), 20.0);
        QCOMPARE(QDir(profilesDirectory()).entryList(QDir::Files), (QStringList{ProfileName, DemoProfileName}));
    }
};

QTEST_MAIN(TestSoakDriver)
#include "tst_soakdriver.moc"
