#include "keyvalues.h"

#include <QtTest>

using namespace QuillarSetup;

class TestKeyValues : public QObject {
    Q_OBJECT

private slots:
    void currentLibraryFolders() {
        const KeyValuesDocument document = parseKeyValues(
            "\"libraryfolders\"\n{\n\t\"0\"\n\t{\n\t\t\"path\"\t\t\"/home/u/.local/share/Steam\"\n"
            "\t\t\"label\"\t\t\"\"\n\t\t\"apps\"\n\t\t{\n\t\t\t\"223750\"\t\t\"12345\"\n\t\t}\n\t}\n"
            "\t\"1\"\n\t{\n\t\t\"path\"\t\t\"/home/u/Games/Steam Library\"\n\t}\n}\n");
        QVERIFY2(document.isValid(), qPrintable(document.error));
        QCOMPARE(steamLibraryPaths(document),
                 QStringList({"/home/u/.local/share/Steam", "/home/u/Games/Steam Library"}));
        const KeyValue &first = document.pairs.at(0).children.at(0);
        QCOMPARE(first.key, QStringLiteral("0"));
        QVERIFY(first.isBlock);
        QCOMPARE(first.child("APPS")->child("223750")->value, QStringLiteral("12345"));
    }

    void olderFormAndEscapes() {
        const KeyValuesDocument document =
            parseKeyValues("// written by an older "
                           "Steam\n\"LibraryFolders\"\n{\n\t\"TimeNextStatsReport\"\t\t\"1700000000\"\n"
                           "\t\"ContentStatsID\"\t\t\"-1\"\n\t\"1\"\t\t\"/mnt/d/Steam "
                           "\\\"B\\\"\\\\x\"\n\t\"2\" \"/mnt/e\" [$LINUX]\n}\n");
        QVERIFY2(document.isValid(), qPrintable(document.error));
        QCOMPARE(steamLibraryPaths(document), QStringList({"/mnt/d/Steam \"B\"\\x", "/mnt/e"}));
    }

    void bareTokens() {
        const KeyValuesDocument document =
            parseKeyValues("AppState { appid 223750 name \"DCS World Steam Edition\" }");
        QVERIFY(document.isValid());
        QCOMPARE(document.pairs.at(0).child("appid")->value, QStringLiteral("223750"));
        QCOMPARE(document.pairs.at(0).child("name")->value, QStringLiteral("DCS World Steam Edition"));
    }

    void malformed_data() {
        QTest::addColumn<QByteArray>("text");
        QTest::addColumn<QString>("error");
        QTest::newRow("unclosed block")
            << QByteArray("\"a\"\n{\n\"b\" \"c\"\n") << "line 4: a block is never closed";
        QTest::newRow("unclosed quote")
            << QByteArray("\"a\"\n{\n\"b\" \"c\n}\n") << "line 3: a quoted text is never closed";
        QTest::newRow("stray close") << QByteArray("\"a\" \"b\"\n}\n") << "line 2: \"}\" without a block";
        QTest::newRow("key without value") << QByteArray("\"a\" { \"b\" }") << "line 1: \"b\" has no value";
        QTest::newRow("block without name") << QByteArray("{ }") << "line 1: a block without a name";
        QTest::newRow("too deep") << QByteArray("a {").repeated(100) << "line 1: blocks nested too deeply";
        QTest::newRow("unclosed condition")
            << QByteArray("\"a\" \"b\" [$WIN32\n") << "line 1: unclosed condition";
    }

    void malformed() {
        QFETCH(QByteArray, text);
        QFETCH(QString, error);
        const KeyValuesDocument document = parseKeyValues(text);
        QCOMPARE(document.error, error);
        QVERIFY(document.pairs.isEmpty());
        QCOMPARE(steamLibraryPaths(document), QStringList());
    }

    void emptyText() {
        const KeyValuesDocument document = parseKeyValues(QByteArray());
        QVERIFY(document.isValid());
        QVERIFY(document.pairs.isEmpty());
    }
};

QTEST_GUILESS_MAIN(TestKeyValues)
#include "tst_keyvalues.moc"
