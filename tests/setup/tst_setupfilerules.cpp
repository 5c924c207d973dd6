#include "filerules.h"

#include <QStringEncoder>
#include <QtTest>

using namespace QuillarSetup;

namespace {

FileRules single(const QList<FileRules> &rules) {
    return rules.value(0);
}

QByteArray installed(const FileRules &rules, const std::optional<QByteArray> &current) {
    QString problem;
    const std::optional<QByteArray> result = rules.install(current, &problem);
    return result ? *result : "<failed: " + problem.toUtf8() + ">";
}

QByteArray takenOut(const FileRules &rules, const QByteArray &current,
                    const std::optional<QByteArray> &before = std::nullopt) {
    QString problem;
    const std::optional<QByteArray> result = rules.takeOut(current, before, &problem);
    return result ? *result : "<failed: " + problem.toUtf8() + ">";
}

PartState inspected(const FileRules &rules, const std::optional<QByteArray> &current) {
    QString problem;
    return rules.inspect(current, &problem);
}

QByteArray utf16(const QByteArray &utf8, QStringConverter::Encoding encoding) {
    QStringEncoder encoder(encoding);
    const QByteArray mark =
        encoding == QStringConverter::Utf16LE ? QByteArray("\xFF\xFE", 2) : QByteArray("\xFE\xFF", 2);
    return mark + QByteArray(encoder(QString::fromUtf8(utf8)));
}

const QByteArray Line = "local lfs=require('lfs'); dofile(lfs.writedir()..'Scripts/VortaneQuillar.lua')";

} // namespace

class TestSetupFileRules : public QObject {
    Q_OBJECT

private slots:
    void exportLuaAppendsOnceKeepingLineEnds() {
        const FileRules rules = dcsRules("/x", "script").at(1);
        QCOMPARE(rules.path, QStringLiteral("/x/Scripts/Export.lua"));
        QCOMPARE(installed(rules, std::nullopt), Line + "\n");
        QCOMPARE(installed(rules, QByteArray()), Line + "\n");
        QCOMPARE(installed(rules, "a()\r\nb()"), "a()\r\nb()\r\n" + Line + "\r\n");
        QCOMPARE(installed(rules, "a()\n" + Line + "\nb()\n"), "a()\n" + Line + "\nb()\n");
        QCOMPARE(installed(rules, "a()\n  " + Line + "  \n"), "a()\n  " + Line + "  \n");
        QCOMPARE(inspected(rules, "-- " + Line + "\n"), PartState::Absent);
        QCOMPARE(inspected(rules, "x()\n" + Line), PartState::Present);
        QCOMPARE(takenOut(rules, "a()\r\n" + Line + "\r\nb()\r\n" + Line + "\r\n"),
                 QByteArray("a()\r\nb()\r\n"));
    }

    void scriptCopyIsWholeFile() {
        const FileRules rules = dcsRules("/x", "script").at(0);
        QVERIFY(rules.wholeFileIsOurs);
        QCOMPARE(inspected(rules, QByteArray("script")), PartState::Present);
        QCOMPARE(inspected(rules, QByteArray("older")), PartState::Damaged);
        QCOMPARE(inspected(rules, std::nullopt), PartState::Absent);
        QCOMPARE(installed(rules, QByteArray("older")), QByteArray("script"));
    }

    void il2AddsTheWholeBlockWhenThereIsNone() {
        const FileRules rules = single(il2Rules("/g"));
        QCOMPARE(rules.path, QStringLiteral("/g/data/startup.cfg"));
        const QByteArray graphics = "[KEY = graphics]\r\n\tfps = 60\r\n[END]";
        const QByteArray expected =
            "[KEY = graphics]\r\n\tfps = 60\r\n[END]\r\n[KEY = telemetrydevice]\r\n"
            "\taddr = \"127.0.0.1\"\r\n\tdecimation = 2\r\n\tenable = true\r\n\tport = 29777\r\n[END]\r\n";
        QCOMPARE(installed(rules, graphics), expected);
        QCOMPARE(inspected(rules, expected), PartState::Present);
        QCOMPARE(installed(rules, expected), expected);
        QCOMPARE(takenOut(rules, expected), QByteArray("[KEY = graphics]\r\n\tfps = 60\r\n[END]\r\n"));
    }

    void il2AddsTheNextFreeReceiver() {
        const FileRules rules = single(il2Rules("/g"));
        const QByteArray other =
            "[KEY = telemetrydevice]\n  addr = \"10.0.0.2\"\n  addr1 = \"10.0.0.3:5000\"\n"
            "  decimation = 1\n  enable = false\n  port = 4000\n[END]\n";
        QCOMPARE(inspected(rules, other), PartState::Absent);
        const QByteArray expected =
            "[KEY = telemetrydevice]\n  addr = \"10.0.0.2\"\n  addr1 = \"10.0.0.3:5000\"\n"
            "  addr2 = \"127.0.0.1:29777\"\n  decimation = 1\n  enable = true\n  port = 4000\n[END]\n";
        QCOMPARE(installed(rules, other), expected);
        QCOMPARE(inspected(rules, expected), PartState::Present);
        // Taken out, our receiver goes; "enable" stays as the set-up left it.
        QCOMPARE(takenOut(rules, expected),
                 QByteArray("[KEY = telemetrydevice]\n  addr = \"10.0.0.2\"\n"
                            "  addr1 = \"10.0.0.3:5000\"\n  decimation = 1\n  enable = true\n"
                            "  port = 4000\n[END]\n"));
        const QByteArray disabled =
            "[KEY = telemetrydevice]\n\taddr1 = \"127.0.0.1:29777\"\n\tenable = false\n[END]\n";
        QCOMPARE(inspected(rules, disabled), PartState::Damaged);
        QCOMPARE(
            installed(rules, disabled),
            QByteArray("[KEY = telemetrydevice]\n\taddr1 = \"127.0.0.1:29777\"\n\tenable = true\n[END]\n"));
        QCOMPARE(
            installed(rules, "[KEY = telemetrydevice]\n[END]\n"),
            QByteArray("[KEY = telemetrydevice]\n\taddr1 = \"127.0.0.1:29777\"\n\tenable = true\n[END]\n"));
    }

    void il2Malformed_data() {
        QTest::addColumn<QByteArray>("text");
        QTest::addColumn<QString>("problem");
        QTest::newRow("no end") << QByteArray("[KEY = a]\n")
                                << "line 1: the block is never closed with [END]";
        QTest::newRow("stray end") << QByteArray("[END]\n") << "line 1: [END] without a block";
        QTest::newRow("nested") << QByteArray("[KEY = a]\n[KEY = b]\n[END]\n")
                                << "line 2: a block opens before the block of line 1 ends";
        QTest::newRow("no equals") << QByteArray("[KEY = telemetrydevice]\n\tenable\n[END]\n")
                                   << "line 2: not a \"key = value\" line";
    }

    void il2Malformed() {
        QFETCH(QByteArray, text);
        QFETCH(QString, problem);
        const FileRules rules = single(il2Rules("/g"));
        QString reported;
        QCOMPARE(rules.inspect(text, &reported), PartState::Unreadable);
        QCOMPARE(reported, problem);
        QCOMPARE(installed(rules, text), "<failed: " + problem.toUtf8() + ">");
    }

    void condorNewAndExisting() {
        const FileRules rules = single(condorRules("/c"));
        QCOMPARE(rules.path, QStringLiteral("/c/Settings/UDP.ini"));
        const QByteArray fresh = installed(rules, std::nullopt);
        QCOMPARE(
            fresh,
            QByteArray("[General]\r\nEnabled=1\r\n\r\n[Connection]\r\nHost=127.0.0.1\r\nPort=55278\r\n\r\n"
                       "[Misc]\r\nSendIntervalMs=20\r\nExtendedData=1\r\n"));
        QCOMPARE(inspected(rules, fresh), PartState::Present);
        QCOMPARE(
            installed(rules, "; Condor\n[general]\nenabled = 0\n"),
            QByteArray(
                "; Condor\n[general]\nenabled = 1\n\n[Connection]\nHost=127.0.0.1\nPort=55278\n\n[Misc]\n"
                "SendIntervalMs=20\nExtendedData=1\n"));
        QCOMPARE(inspected(rules, "[General]\nEnabled=1\n[Connection]\nHost=localhost\nPort=55278\n"),
                 PartState::Damaged);
        QCOMPARE(inspected(rules, "[General]\nEnabled=1\n[Connection]\nHost=127.0.0.1\nPort=6000\n"),
                 PartState::Absent);
        QString problem;
        QCOMPARE(rules.inspect(QByteArray("[General\n"), &problem), PartState::Unreadable);
        QCOMPARE(problem, QStringLiteral("line 1: a section name without \"]\""));
        // Without the file from before, the values it had are unknown: the file stays as it is.
        QCOMPARE(takenOut(rules, fresh), fresh);
    }

    void condorGoesBackToTheValuesBefore() {
        const FileRules rules = single(condorRules("/c"));
        const QByteArray before =
            "[General]\r\nEnabled=0\r\n\r\n[Connection]\r\nHost=127.0.0.1\r\nPort=55300\r\n";
        const QByteArray setUp = installed(rules, before);
        QCOMPARE(setUp,
                 QByteArray("[General]\r\nEnabled=1\r\n\r\n[Connection]\r\nHost=127.0.0.1\r\nPort=55278\r\n"
                            "\r\n[Misc]\r\nSendIntervalMs=20\r\nExtendedData=1\r\n"));
        QCOMPARE(takenOut(rules, setUp, before), before);
        // A value the user changed since stays theirs; the rest goes back.
        QByteArray changed = setUp;
        changed.replace("SendIntervalMs=20", "SendIntervalMs=40");
        QCOMPARE(takenOut(rules, changed, before), before + "\r\n[Misc]\r\nSendIntervalMs=40\r\n");
        // A file that ended in a blank line keeps it: the set-up added none before its section.
        const QByteArray endsBlank = "[General]\nEnabled=0\n\n";
        QByteArray blankSetUp = installed(rules, endsBlank);
        QCOMPARE(blankSetUp, QByteArray("[General]\nEnabled=1\n\n[Connection]\nHost=127.0.0.1\nPort=55278\n\n"
                                        "[Misc]\nSendIntervalMs=20\nExtendedData=1\n"));
        blankSetUp.replace("[General]", "; edited\n[General]");
        QCOMPARE(takenOut(rules, blankSetUp, endsBlank), QByteArray("; edited\n[General]\nEnabled=0\n\n"));
    }

    void il2EnableGoesBackToTheValueBefore() {
        const FileRules rules = single(il2Rules("/g"));
        const QByteArray before =
            "[KEY = telemetrydevice]\n\taddr = \"10.0.0.2\"\n\tenable = false\n\tport = 4321\n[END]\n";
        QByteArray setUp = installed(rules, before);
        QCOMPARE(setUp,
                 QByteArray("[KEY = telemetrydevice]\n\taddr = \"10.0.0.2\"\n\taddr1 = \"127.0.0.1:29777\"\n"
                            "\tenable = true\n\tport = 4321\n[END]\n"));
        setUp.replace("4321", "4322"); // changed after the set-up: the backup no longer fits as a whole
        QCOMPARE(
            takenOut(rules, setUp, before),
            QByteArray(
                "[KEY = telemetrydevice]\n\taddr = \"10.0.0.2\"\n\tenable = false\n\tport = 4322\n[END]\n"));
        // A block that had no enable line loses the one the set-up added.
        const QByteArray noEnable = "[KEY = telemetrydevice]\n\taddr = \"10.0.0.2\"\n\tport = 4321\n[END]\n";
        QCOMPARE(takenOut(rules, installed(rules, noEnable), noEnable), noEnable);
        // Without the file from before, the block's switch is the user's.
        QCOMPARE(
            takenOut(rules, installed(rules, before)),
            QByteArray(
                "[KEY = telemetrydevice]\n\taddr = \"10.0.0.2\"\n\tenable = true\n\tport = 4321\n[END]\n"));
    }

    void dcsSettingsAreMadeOnce() {
        const FileRules rules = dcsRules("/x", "script").at(2);
        QCOMPARE(rules.path, QStringLiteral("/x/Scripts/VortaneQuillarConfig.lua"));
        QVERIFY(rules.madeOnce);
        QCOMPARE(installed(rules, std::nullopt), dcsSettingsFile());
        QCOMPARE(installed(rules, QByteArray("return { port = 1 }\n")), QByteArray("return { port = 1 }\n"));
        QVERIFY(dcsSettingsFile().contains("-- aoaScale = 1,"));
    }

    void simConnectEntries() {
        const FileRules rules = single(msfsRules("/m", 29779));
        QCOMPARE(rules.path, QStringLiteral("/m/SimConnect.xml"));
        const QByteArray tabbed =
            "<SimBase.Document Type=\"SimConnect\" version=\"1,0\">\n"
            "\t<SimConnect.Comm>\n\t\t<Descr>Vortane Quillar</Descr>\n\t\t<Protocol>IPv4</Protocol>\n"
            "\t\t<Scope>local</Scope>\n\t\t<Port>600</Port>\n\t</SimConnect.Comm>\n</SimBase.Document>";
        QCOMPARE(inspected(rules, tabbed), PartState::Damaged);
        const QByteArray repaired =
            "<SimBase.Document Type=\"SimConnect\" version=\"1,0\">\n"
            "\t<SimConnect.Comm>\n\t\t<Descr>Vortane Quillar</Descr>\n\t\t<Disabled>False</Disabled>\n"
            "\t\t<Protocol>IPv4</Protocol>\n\t\t<Scope>local</Scope>\n"
            "\t\t<Address>127.0.0.1</Address>\n\t\t<Port>29779</Port>\n"
            "\t\t<MaxClients>64</MaxClients>\n\t\t<MaxRecvSize>41088</MaxRecvSize>\n"
            "\t</SimConnect.Comm>\n</SimBase.Document>";
        QCOMPARE(installed(rules, tabbed), repaired);
        QCOMPARE(inspected(rules, repaired), PartState::Present);
        QCOMPARE(takenOut(rules, repaired),
                 QByteArray("<SimBase.Document Type=\"SimConnect\" version=\"1,0\">\n"
                            "</SimBase.Document>"));
        // Somebody else's entry on our port serves us as well.
        const QByteArray theirs =
            "<SimBase.Document><SimConnect.Comm><Protocol>ipv4</Protocol><Scope>LOCAL</Scope>"
            "<Port>29779</Port></SimConnect.Comm></SimBase.Document>";
        QCOMPARE(inspected(rules, theirs), PartState::Present);
        QCOMPARE(inspected(rules,
                           QByteArray(theirs).replace("<Port>29779", "<Disabled>True</Disabled><Port>29779")),
                 PartState::Absent);
        // The stock entry on port 500 is not ours: MSFS under Wine cannot open a port below 1024.
        QCOMPARE(inspected(rules, QByteArray(theirs).replace("<Port>29779", "<Port>500")), PartState::Absent);
        QString problem;
        QCOMPARE(rules.inspect(QByteArray("<Other/>"), &problem), PartState::Unreadable);
        QCOMPARE(problem, QStringLiteral("not a SimConnect settings file"));
        QCOMPARE(rules.inspect(QByteArray(""), &problem), PartState::Unreadable);
    }

    void utf16FilesStayUtf16_data() {
        QTest::addColumn<int>("encoding");
        QTest::newRow("little-endian") << int(QStringConverter::Utf16LE);
        QTest::newRow("big-endian") << int(QStringConverter::Utf16BE);
    }

    void utf16FilesStayUtf16() {
        QFETCH(int, encoding);
        const auto converter = QStringConverter::Encoding(encoding);
        const FileRules rules = keepingUtf16(single(il2Rules("/g")));
        const QByteArray before =
            "[KEY = telemetrydevice]\r\n\taddr = \"Ü-host\"\r\n\tenable = true\r\n[END]\r\n";
        const QByteArray after =
            "[KEY = telemetrydevice]\r\n\taddr = \"Ü-host\"\r\n\taddr1 = \"127.0.0.1:29777\"\r\n"
            "\tenable = true\r\n[END]\r\n";
        QCOMPARE(inspected(rules, utf16(before, converter)), PartState::Absent);
        QCOMPARE(installed(rules, utf16(before, converter)), utf16(after, converter));
        QCOMPARE(inspected(rules, utf16(after, converter)), PartState::Present);
        QCOMPARE(takenOut(rules, utf16(after, converter)), utf16(before, converter));
        // Files without the mark are bytes as before.
        QCOMPARE(installed(rules, before), after);
        // The copy from before is read in its own UTF-16 too: the switch goes back off.
        const QByteArray off = QByteArray(before).replace("enable = true", "enable = false");
        QCOMPARE(takenOut(rules, installed(rules, utf16(off, converter)), utf16(off, converter)),
                 utf16(off, converter));
    }

    void brokenUtf16IsLeftAlone() {
        const FileRules rules = keepingUtf16(single(il2Rules("/g")));
        const QByteArray odd = QByteArray("\xFF\xFE[\0E\0N\0D\0]", 11);
        QString problem;
        QCOMPARE(rules.inspect(odd, &problem), PartState::Unreadable);
        QCOMPARE(problem, QStringLiteral("not valid UTF-16 text"));
        QCOMPARE(installed(rules, odd), QByteArray("<failed: not valid UTF-16 text>"));
        const QByteArray loneSurrogate = QByteArray("\xFF\xFE\x00\xD8[\0", 6);
        QCOMPARE(rules.inspect(loneSurrogate, &problem), PartState::Unreadable);
    }

    void simConnectPortFromCfg() {
        QCOMPARE(simConnectPort(std::nullopt), 500);
        QCOMPARE(simConnectPort(QByteArray("[SimConnect]\r\nPort = 5111\r\n")), 5111);
        QCOMPARE(simConnectPort(QByteArray("[SimConnect]\nPort=70000\n")), 500);
        QCOMPARE(simConnectPort(QByteArray("[SimConnect]\nPort=Custom/SimConnect\n")), 500);
        QCOMPARE(simConnectCfgBytes(OurSimConnectPort),
                 QByteArray("[SimConnect]\nProtocol=IPv4\nAddress=127.0.0.1\nPort=29779\n"));
    }
};

QTEST_GUILESS_MAIN(TestSetupFileRules)
#include "tst_setupfilerules.moc"
