#include "filerules.h"
#include "textfile.h"

namespace QuillarSetup {

QByteArray dcsExportLine() {
    return QByteArrayLiteral(
        "local lfs=require('lfs'); dofile(lfs.writedir()..'Scripts/VortaneQuillar.lua')");
}

QByteArray dcsSettingsFile() {
    return QByteArrayLiteral(
        "-- Vortane Quillar: your settings for the DCS export. The set-up made this file once and never\n"
        "-- changes it; an update replaces only VortaneQuillar.lua beside it. Take out the \"--\" in front "
        "of\n"
        "-- a setting to change it.\n"
        "return {\n"
        "    -- host = \"127.0.0.1\", -- the computer Vortane Quillar runs on\n"
        "    -- port = 29778,\n"
        "    -- interval = 0.02, -- seconds between datagrams\n"
        "    -- aoaScale = 1, -- 57.2958 for a module whose angle of attack comes in radians\n"
        "}\n");
}

namespace {

bool isExportLine(const QByteArray &line) {
    return line.trimmed() == dcsExportLine();
}

} // namespace

QList<FileRules> dcsRules(const QString &savedGames, const QByteArray &script) {
    FileRules copy;
    copy.path = savedGames + QStringLiteral("/Scripts/VortaneQuillar.lua");
    copy.wholeFileIsOurs = true;
    copy.inspect = [script](const std::optional<QByteArray> &current, QString *) {
        if (!current) {
            return PartState::Absent;
        }
        // An older copy (or one edited by hand) is replaced: DCS must run the script this build expects.
        return *current == script ? PartState::Present : PartState::Damaged;
    };
    copy.install = [script](const std::optional<QByteArray> &, QString *) -> std::optional<QByteArray> {
        return script;
    };
    copy.takeOut = [](const QByteArray &, const std::optional<QByteArray> &,
                      QString *) -> std::optional<QByteArray> { return QByteArray(); };
    copy.installWords = QStringLiteral("copy the export script");
    copy.removeWords = QStringLiteral("take out the export script");

    FileRules exportLua;
    exportLua.path = savedGames + QStringLiteral("/Scripts/Export.lua");
    exportLua.inspect = [](const std::optional<QByteArray> &current, QString *) {
        if (current) {
            for (const QByteArray &line : TextLines::split(*current).lines) {
                if (isExportLine(line)) {
                    return PartState::Present;
                }
            }
        }
        return PartState::Absent;
    };
    exportLua.install = [](const std::optional<QByteArray> &current, QString *) -> std::optional<QByteArray> {
        TextLines text = TextLines::split(current.value_or(QByteArray()));
        for (const QByteArray &line : text.lines) {
            if (isExportLine(line)) {
                return current;
            }
        }
        // Last, so every tool whose line comes before keeps its callbacks called by ours.
        text.append(dcsExportLine());
        return text.join();
    };
    exportLua.takeOut = [](const QByteArray &current, const std::optional<QByteArray> &,
                           QString *) -> std::optional<QByteArray> {
        TextLines text = TextLines::split(current);
        for (int i = text.lines.size() - 1; i >= 0; --i) {
            if (isExportLine(text.lines.at(i))) {
                text.remove(i);
            }
        }
        return text.join();
    };
    exportLua.installWords = QStringLiteral("add the line that runs the export script");
    exportLua.removeWords = QStringLiteral("take out the line that runs the export script");

    FileRules settings;
    settings.path = savedGames + QStringLiteral("/Scripts/VortaneQuillarConfig.lua");
    settings.madeOnce = true;
    settings.inspect = [](const std::optional<QByteArray> &current, QString *) {
        return current ? PartState::Present : PartState::Absent;
    };
    settings.install = [](const std::optional<QByteArray> &current, QString *) -> std::optional<QByteArray> {
        return current ? *current : dcsSettingsFile();
    };
    settings.takeOut = [](const QByteArray &, const std::optional<QByteArray> &,
                          QString *) -> std::optional<QByteArray> { return QByteArray(); };
    settings.installWords = QStringLiteral("a place for your settings of the export script");
    settings.removeWords = QStringLiteral("the set-up made this file");

    return {copy, exportLua, settings};
}

} // namespace QuillarSetup
