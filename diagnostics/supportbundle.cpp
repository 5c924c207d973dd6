#include "supportbundle.h"

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSaveFile>
#include <QSysInfo>

#include <archive.h>
#include <archive_entry.h>
#include <hidapi.h>

#ifndef QUILLAR_VERSION
#define QUILLAR_VERSION "0"
#endif
#ifndef QUILLAR_BUILD_ID
#define QUILLAR_BUILD_ID "unknown"
#endif

namespace Diagnostics {

namespace {

// Nothing a bundle carries is large; a bigger file (a runaway log) is cut to its end.
constexpr qint64 MaxFileBytes = qint64(8) * 1024 * 1024;

QByteArray readSmallFile(const QString &path, QString *why = nullptr) {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        if (why)
            *why = file.errorString();
        return {};
    }
    if (file.size() > MaxFileBytes)
        file.seek(file.size() - MaxFileBytes);
    return file.read(MaxFileBytes);
}

la_ssize_t appendToBuffer(struct archive *, void *client, const void *buffer, size_t length) {
    static_cast<QByteArray *>(client)->append(static_cast<const char *>(buffer), qsizetype(length));
    return la_ssize_t(length);
}

} // namespace

SupportBundle::SupportBundle(const QString &home) : homeFolder(home) {}

void SupportBundle::addText(const QString &name, const QByteArray &text) {
    entries.append({name, hideHome(text, homeFolder)});
}

void SupportBundle::addBinary(const QString &name, const QByteArray &bytes) {
    entries.append({name, bytes});
}

QStringList SupportBundle::fileNames() const {
    QStringList names;
    for (const File &file : entries)
        names.append(file.name);
    return names;
}

QByteArray SupportBundle::hideHome(const QByteArray &text, const QString &home) {
    QStringList homes;
    for (QString candidate : {home, QFileInfo(home).canonicalFilePath()}) {
        while (candidate.size() > 1 && candidate.endsWith(QLatin1Char('/')))
            candidate.chop(1);
        // "/" as a home would turn every path into "~".
        if (candidate.size() > 1 && !homes.contains(candidate))
            homes.append(candidate);
    }
    // The longer first, so a real path that contains the link's does not leave a piece behind.
    std::sort(homes.begin(), homes.end(),
              [](const QString &a, const QString &b) { return a.size() > b.size(); });
    QByteArray result = text;
    for (const QString &candidate : homes)
        result.replace(candidate.toUtf8(), QByteArrayLiteral("~"));
    return result;
}

bool SupportBundle::write(const QString &path, QString *error) const {
    auto fail = [&](const QString &why) {
        if (error)
            *error = QStringLiteral("cannot write the support bundle %1: %2").arg(path, why);
        return false;
    };
    if (path.isEmpty())
        return fail(QStringLiteral("no file name"));
    QByteArray bytes;
    struct archive *archive = archive_write_new();
    const bool zip = path.endsWith(QLatin1String(".zip"), Qt::CaseInsensitive);
    int result = zip ? archive_write_set_format_zip(archive)
                     : (archive_write_add_filter_gzip(archive) == ARCHIVE_OK
                            ? archive_write_set_format_pax_restricted(archive)
                            : ARCHIVE_FATAL);
    // The whole archive is built in memory (it is small), so no half-written file is ever left behind.
    if (result == ARCHIVE_OK)
        result = archive_write_set_bytes_in_last_block(archive, 1);
    if (result == ARCHIVE_OK)
        result = archive_write_open(archive, &bytes, nullptr, appendToBuffer, nullptr);
    const qint64 now = QDateTime::currentSecsSinceEpoch();
    for (const File &file : entries) {
        if (result != ARCHIVE_OK)
            break;
        struct archive_entry *entry = archive_entry_new();
        archive_entry_set_pathname_utf8(entry,
                                        (topFolder() + QLatin1Char('/') + file.name).toUtf8().constData());
        archive_entry_set_filetype(entry, AE_IFREG);
        archive_entry_set_perm(entry, 0644);
        archive_entry_set_size(entry, file.content.size());
        archive_entry_set_mtime(entry, time_t(now), 0);
        result = archive_write_header(archive, entry);
        if (result == ARCHIVE_OK && !file.content.isEmpty() &&
            archive_write_data(archive, file.content.constData(), size_t(file.content.size())) !=
                file.content.size())
            result = ARCHIVE_FATAL;
        archive_entry_free(entry);
    }
    const QString archiveError =
        result == ARCHIVE_OK ? QString() : QString::fromUtf8(archive_error_string(archive));
    if (archive_write_close(archive) != ARCHIVE_OK && result == ARCHIVE_OK)
        result = ARCHIVE_FATAL;
    archive_write_free(archive);
    if (result != ARCHIVE_OK)
        return fail(archiveError.isEmpty() ? QStringLiteral("the archive could not be made") : archiveError);

    QSaveFile out(path);
    if (!out.open(QIODevice::WriteOnly))
        return fail(out.errorString());
    if (out.write(bytes) != bytes.size() || !out.commit())
        return fail(out.errorString());
    return true;
}

bool readArchive(const QString &path, QList<SupportBundle::File> *files, QString *error) {
    struct archive *archive = archive_read_new();
    archive_read_support_filter_all(archive);
    archive_read_support_format_all(archive);
    const QByteArray local = QFile::encodeName(path);
    bool ok = archive_read_open_filename(archive, local.constData(), 65536) == ARCHIVE_OK;
    struct archive_entry *entry = nullptr;
    while (ok) {
        const int next = archive_read_next_header(archive, &entry);
        if (next == ARCHIVE_EOF)
            break;
        if (next != ARCHIVE_OK) {
            ok = false;
            break;
        }
        SupportBundle::File file;
        file.name = QString::fromUtf8(archive_entry_pathname_utf8(entry));
        char buffer[65536];
        for (;;) {
            const la_ssize_t got = archive_read_data(archive, buffer, sizeof buffer);
            if (got < 0)
                ok = false;
            if (got <= 0)
                break;
            file.content.append(buffer, qsizetype(got));
        }
        files->append(file);
    }
    if (!ok && error)
        *error = QString::fromUtf8(archive_error_string(archive));
    archive_read_free(archive);
    return ok;
}

void addCommonParts(SupportBundle &bundle, const BundleSources &sources) {
    bundle.addText(QStringLiteral("versions.txt"), sources.versions.toUtf8());
    bundle.addText(QStringLiteral("diagnostics.txt"), sources.report.toUtf8());
    bundle.addText(QStringLiteral("setup-status.txt"), sources.setupStatus.toUtf8());

    // The log files, the current one first; what is missing or unreadable is said in logs/missing.txt.
    QStringList notes;
    const QString log = QDir(sources.logFolder).filePath(QStringLiteral("quillar.log"));
    for (const QString &name :
         {log, log + QStringLiteral(".1"), log + QStringLiteral(".2"), log + QStringLiteral(".3")}) {
        if (!QFileInfo::exists(name))
            continue;
        QString why;
        const QByteArray content = readSmallFile(name, &why);
        if (!why.isEmpty())
            notes.append(QStringLiteral("%1: %2").arg(name, why));
        else
            bundle.addText(QStringLiteral("logs/") + QFileInfo(name).fileName(), content);
    }
    if (!QFileInfo::exists(log))
        notes.append(QStringLiteral("no log file at %1").arg(log));
    if (!notes.isEmpty())
        bundle.addText(QStringLiteral("logs/missing.txt"),
                       (notes.join(QLatin1Char('\n')) + QLatin1Char('\n')).toUtf8());

    // The profiles: their names, and the active one's content.
    QString list;
    const QDir profiles(sources.profileFolder);
    const QStringList names = profiles.exists() ? profiles.entryList(QDir::Files, QDir::Name) : QStringList();
    list += QStringLiteral("profile folder: %1\n").arg(sources.profileFolder);
    if (!profiles.exists())
        list += QStringLiteral("(the folder does not exist)\n");
    for (const QString &name : names)
        list += name + QStringLiteral(" (") + QString::number(QFileInfo(profiles.filePath(name)).size()) +
                QStringLiteral(" bytes)\n");
    list += QStringLiteral("active profile: %1\n")
                .arg(sources.activeProfile.isEmpty() ? QStringLiteral("none") : sources.activeProfile);
    bundle.addText(QStringLiteral("profiles/list.txt"), list.toUtf8());
    if (!sources.activeProfile.isEmpty() && names.contains(sources.activeProfile))
        bundle.addText(QStringLiteral("profiles/active/") + sources.activeProfile,
                       readSmallFile(profiles.filePath(sources.activeProfile)));

    for (const QString &settings : sources.settingsFiles)
        if (QFileInfo(settings).isFile())
            bundle.addText(QStringLiteral("settings/") + QFileInfo(settings).fileName(),
                           readSmallFile(settings));
}

QString versionsText(const QString &program) {
    QString text;
    text += QStringLiteral("program: %1 %2\n").arg(program, QStringLiteral(QUILLAR_VERSION));
    text += QStringLiteral("build id: %1\n").arg(QStringLiteral(QUILLAR_BUILD_ID));
    text += QStringLiteral("Qt: %1 (built with %2)\n")
                .arg(QString::fromLatin1(qVersion()), QStringLiteral(QT_VERSION_STR));
    text += QStringLiteral("hidapi: %1 (built with)\n").arg(QStringLiteral(HID_API_VERSION_STR));
    text += QStringLiteral("kernel: %1 %2\n").arg(QSysInfo::kernelType(), QSysInfo::kernelVersion());
    text += QStringLiteral("distribution: %1\n").arg(QSysInfo::prettyProductName());
    const QString session = qEnvironmentVariable("XDG_SESSION_TYPE");
    const QString desktop = qEnvironmentVariable("XDG_CURRENT_DESKTOP");
    text += QStringLiteral("desktop session: %1%2\n")
                .arg(session.isEmpty() ? QStringLiteral("unknown") : session,
                     desktop.isEmpty() ? QString() : QStringLiteral(" (%1)").arg(desktop));
    return text;
}

} // namespace Diagnostics
