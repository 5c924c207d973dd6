#pragma once

#include <QByteArray>
#include <QList>
#include <QString>
#include <QStringList>

namespace Diagnostics {

// What a user sends when asking for help: one archive of small files, written with libarchive. A name ending
// in ".zip" gives a zip file, any other a gzip-compressed tar. The home folder's path is written as "~" in
// every text file, so the bundle does not tell the user's name or folder layout.
class SupportBundle {
public:
    struct File {
        QString name; // inside the archive, e.g. "logs/quillar.log"
        QByteArray content;
    };

    explicit SupportBundle(const QString &home);

    void addText(const QString &name, const QByteArray &text);
    // Bytes as they are (a recording: it holds what simulators sent, not paths).
    void addBinary(const QString &name, const QByteArray &bytes);

    // In the order they go into the archive; what the user sees before saving.
    QStringList fileNames() const;
    const QList<File> &files() const { return entries; }

    // Writes the whole archive to `path` at once (through a temporary file beside it); false with `error`
    // set when it cannot be written there.
    bool write(const QString &path, QString *error) const;

    // `text` with every occurrence of `home` (and of its real path, when it is a link) written as "~".
    static QByteArray hideHome(const QByteArray &text, const QString &home);

    // The folder every file sits in inside the archive.
    static QString topFolder() { return QStringLiteral("quillar-support"); }

private:
    QString homeFolder;
    QList<File> entries;
};

// Reads an archive written by SupportBundle back (any format libarchive reads): the files with their names
// as stored; false with `error` set when it cannot be read.
bool readArchive(const QString &path, QList<SupportBundle::File> *files, QString *error);

// What goes into every bundle, from the terminal or the window.
struct BundleSources {
    QString home;
    QString versions;          // versionsText()
    QString report;            // the diagnostics report
    QString setupStatus;       // what `quillar-setup status` prints
    QString logFolder;         // the log files quillar.log, .1, .2, .3
    QString profileFolder;     // effect_profiles
    QString activeProfile;     // a file name in profileFolder; empty when none is active
    QStringList settingsFiles; // quillar.conf, SimConnect.cfg, ...: those that exist go in
};
void addCommonParts(SupportBundle &bundle, const BundleSources &sources);

// Program, build id, Qt, hidapi, kernel, distribution and desktop session, one per line.
QString versionsText(const QString &program);

} // namespace Diagnostics
