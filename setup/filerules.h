#pragma once

#include <QByteArray>
#include <QList>
#include <QString>
#include <functional>
#include <optional>

namespace QuillarSetup {

// How much of our part a file holds.
enum class PartState { Present, Absent, Damaged, Unreadable };

// The three pure functions that set up, check and take out our part of one file. They see bytes and
// return bytes, so every result can be compared byte for byte and a dry run computes exactly what a real
// run writes.
struct FileRules {
    QString path;
    // Set when the whole file is ours (the DCS script): taking out our part deletes it.
    bool wholeFileIsOurs = false;
    // Set for a file the user edits (the DCS settings): made once when missing, never changed after, taken
    // out only while it is still what the set-up made. It does not count towards the state.
    bool madeOnce = false;
    // `current` is empty when the file does not exist. Sets `problem` for Unreadable.
    std::function<PartState(const std::optional<QByteArray> &current, QString *problem)> inspect;
    // The file with our part in place; nullopt (and `problem`) when the file cannot be parsed.
    std::function<std::optional<QByteArray>(const std::optional<QByteArray> &current, QString *problem)>
        install;
    // The file with our part taken out; nullopt (and `problem`) when that cannot be done safely. `before` is
    // the file as it was before the set-up (its backup) when that is known and holds none of our part:
    // values the set-up replaced go back to what it says. Our part still in the result means it cannot be
    // told apart from the user's own settings.
    std::function<std::optional<QByteArray>(const QByteArray &current,
                                            const std::optional<QByteArray> &before, QString *problem)>
        takeOut;
    QString installWords; // "add the export line"
    QString removeWords;  // "take out the export line"
};

// The line that runs our script from Export.lua, exactly as the DCS page gives it.
QByteArray dcsExportLine();
// What Scripts/VortaneQuillarConfig.lua holds when the set-up makes it: every setting, commented out.
QByteArray dcsSettingsFile();

// The program's own SimConnect port: unprivileged, so MSFS under Wine (as the user) may listen on it.
constexpr int OurSimConnectPort = 29779;

// Port 500 unless the SimConnect.cfg names another.
int simConnectPort(const std::optional<QByteArray> &simConnectCfg);
QByteArray simConnectCfgBytes(int port);

// The same rules for a file that may be in UTF-16 with a byte-order mark (Windows tools write some that
// way): such a file is read as UTF-8 text and written back in its own UTF-16, mark included.
FileRules keepingUtf16(FileRules rules);

QList<FileRules> dcsRules(const QString &savedGames, const QByteArray &script);
QList<FileRules> il2Rules(const QString &gameFolder);
QList<FileRules> condorRules(const QString &condorFolder);
QList<FileRules> msfsRules(const QString &settingsFolder, int port);

} // namespace QuillarSetup
