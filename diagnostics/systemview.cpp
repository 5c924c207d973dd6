#include "systemview.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

#ifdef Q_OS_UNIX
#include <cerrno>
#include <climits>
#include <unistd.h>
#endif

SystemView::SystemView(const QString &root) : rootFolder(root) {
    while (rootFolder.size() > 1 && rootFolder.endsWith(QLatin1Char('/')))
        rootFolder.chop(1);
}

QString SystemView::hostPath(const QString &path) const {
    if (rootFolder == QLatin1String("/") || rootFolder.isEmpty())
        return path;
    return rootFolder + path;
}

namespace {

void setStatus(SystemView::Status *status, SystemView::Status value) {
    if (status)
        *status = value;
}

SystemView::Status statusFromErrno(int error) {
#ifdef Q_OS_UNIX
    if (error == EACCES || error == EPERM)
        return SystemView::Status::Denied;
#else
    Q_UNUSED(error)
#endif
    return SystemView::Status::Missing;
}

} // namespace

QByteArray SystemView::readFile(const QString &path, Status *status, qint64 limit) const {
    QFile file(hostPath(path));
    if (!file.open(QIODevice::ReadOnly)) {
        setStatus(status, file.error() == QFileDevice::PermissionsError ? Status::Denied : Status::Missing);
        return {};
    }
    setStatus(status, Status::Ok);
    // /proc files report size 0: read in pieces until the end or the limit.
    QByteArray bytes;
    char buffer[4096];
    while (bytes.size() < limit) {
        const qint64 got = file.read(buffer, qMin<qint64>(sizeof buffer, limit - bytes.size()));
        if (got <= 0)
            break;
        bytes.append(buffer, int(got));
    }
    return bytes;
}

QStringList SystemView::list(const QString &path, Status *status) const {
    const QString folder = hostPath(path);
    QFileInfo info(folder);
    if (!info.exists() || !info.isDir()) {
        setStatus(status, Status::Missing);
        return {};
    }
    if (!info.isReadable() || !info.isExecutable()) {
        setStatus(status, Status::Denied);
        return {};
    }
    setStatus(status, Status::Ok);
    return QDir(folder).entryList(QDir::AllEntries | QDir::System | QDir::Hidden | QDir::NoDotAndDotDot,
                                  QDir::Name);
}

QString SystemView::readLink(const QString &path, Status *status) const {
#ifdef Q_OS_UNIX
    const QByteArray local = QFile::encodeName(hostPath(path));
    char target[PATH_MAX];
    const ssize_t length = ::readlink(local.constData(), target, sizeof target - 1);
    if (length < 0) {
        setStatus(status, statusFromErrno(errno));
        return {};
    }
    setStatus(status, Status::Ok);
    return QFile::decodeName(QByteArray(target, int(length)));
#else
    setStatus(status, Status::Missing);
    Q_UNUSED(path)
    return {};
#endif
}

bool SystemView::exists(const QString &path) const {
    return QFileInfo::exists(hostPath(path));
}

bool SystemView::canReadWrite(const QString &path) const {
#ifdef Q_OS_UNIX
    return ::access(QFile::encodeName(hostPath(path)).constData(), R_OK | W_OK) == 0;
#else
    const QFileInfo info(hostPath(path));
    return info.isReadable() && info.isWritable();
#endif
}
