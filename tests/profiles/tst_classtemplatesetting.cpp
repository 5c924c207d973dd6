#include "classtemplatesetting.h"

#include <QFile>
#include <QTemporaryDir>
#include <QtTest>

// "[profiles] use_class_template" in the settings file: exactly "true" or "false".
class TestClassTemplateSetting : public QObject {
    Q_OBJECT

private:
    QTemporaryDir dir;

    QString file(const QString &name, const QByteArray &contents) {
        const QString path = dir.filePath(name);
        QFile out(path);
        if (out.open(QIODevice::WriteOnly))
            out.write(contents);
        return path;
    }

private slots:
    void pathUnderTheConfigHome() {
        // The test runner points XDG_CONFIG_HOME at a scratch folder; the real home is never read.
        qputenv("XDG_CONFIG_HOME", dir.filePath(QStringLiteral("config")).toUtf8());
        QCOMPARE(ClassTemplateSetting::settingsFilePath(),
                 dir.filePath(QStringLiteral("config/vortane-quillar/quillar.conf")));
    }

    void values_data() {
        QTest::addColumn<QByteArray>("contents");
        QTest::addColumn<bool>("expected");
        QTest::addColumn<bool>("warned");
        QTest::newRow("true") << QByteArray("[profiles]\nuse_class_template=true\n") << true << false;
        QTest::newRow("false") << QByteArray("[profiles]\nuse_class_template=false\n") << false << false;
        QTest::newRow("blanks") << QByteArray("[profiles]\nuse_class_template = true \n") << true << false;
        QTest::newRow("missing key") << QByteArray("[profiles]\nother=1\n") << false << false;
        QTest::newRow("other group") << QByteArray("[xplane]\nuse_class_template=true\n") << false << false;
        QTest::newRow("TRUE") << QByteArray("[profiles]\nuse_class_template=TRUE\n") << false << true;
        QTest::newRow("1") << QByteArray("[profiles]\nuse_class_template=1\n") << false << true;
        QTest::newRow("yes") << QByteArray("[profiles]\nuse_class_template=yes\n") << false << true;
        QTest::newRow("empty") << QByteArray("[profiles]\nuse_class_template=\n") << false << true;
        QTest::newRow("list") << QByteArray("[profiles]\nuse_class_template=true,false\n") << false << true;
        QTest::newRow("binary") << QByteArray("\xff\xfe\0[profiles", 12) << false << false;
    }

    void values() {
        QFETCH(QByteArray, contents);
        QFETCH(bool, expected);
        QFETCH(bool, warned);
        const QString path = file(QString::fromLatin1(QTest::currentDataTag()) + ".conf", contents);
        if (warned)
            QTest::ignoreMessage(QtWarningMsg, QRegularExpression(QStringLiteral(
                                                   "use_class_template .* is neither true nor false; "
                                                   "taking false$")));
        QCOMPARE(ClassTemplateSetting::read(path), expected);
    }

    void missingFileIsFalseAndNotMade() {
        const QString path = dir.filePath(QStringLiteral("absent/quillar.conf"));
        QVERIFY(!ClassTemplateSetting::read(path));
        QVERIFY(!QFile::exists(path));
    }

    void writtenBesideOtherKeys() {
        const QString path = file(QStringLiteral("kept.conf"), "[xplane]\nhost=192.168.1.20\nport=49001\n");
        QVERIFY(ClassTemplateSetting::write(path, true));
        QVERIFY(ClassTemplateSetting::read(path));
        QFile in(path);
        QVERIFY(in.open(QIODevice::ReadOnly));
        const QByteArray text = in.readAll();
        QVERIFY(text.contains("[profiles]\nuse_class_template=true"));
        QVERIFY(text.contains("host=192.168.1.20"));
        QVERIFY(text.contains("port=49001"));
        QVERIFY(ClassTemplateSetting::write(path, false));
        QVERIFY(!ClassTemplateSetting::read(path));
    }

    void writtenIntoAFolderThatIsNotThereYet() {
        const QString path = dir.filePath(QStringLiteral("new/vortane-quillar/quillar.conf"));
        QVERIFY(ClassTemplateSetting::write(path, true));
        QVERIFY(ClassTemplateSetting::read(path));
    }
};

QTEST_GUILESS_MAIN(TestClassTemplateSetting)
#include "tst_classtemplatesetting.moc"
