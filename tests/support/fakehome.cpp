#include "fakehome.h"

#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QFileInfo>

FakeHome::FakeHome() = default;

QString FakeHome::filePath(const QString &relative) const {
    return directory.path() + QLatin1Char('/') + relative;
}

bool FakeHome::makeFolder(const QString &relative) const {
    return QDir().mkpath(filePath(relative));
}

bool FakeHome::write(const QString &relative, const QByteArray &bytes) const {
    const QString path = filePath(relative);
    if (!QDir().mkpath(QFileInfo(path).path())) {
        return false;
    }
    QFile file(path);
    return file.open(QIODevice::WriteOnly | QIODevice::Truncate) && file.write(bytes) == bytes.size();
}

bool FakeHome::link(const QString &relative, const QString &target) const {
    const QString path = filePath(relative);
    return QDir().mkpath(QFileInfo(path).path()) && QFile::link(target, path);
}

QByteArray FakeHome::read(const QString &relative) const {
    QFile file(filePath(relative));
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("<missing>");
}

bool FakeHome::exists(const QString &relative) const {
    const QFileInfo info(filePath(relative));
    return info.exists() || info.isSymLink();
}

QMap<QString, QByteArray> FakeHome::snapshot() const {
    QMap<QString, QByteArray> files;
    const QDir root(directory.path());
    QDirIterator it(directory.path(), QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot,
                    QDirIterator::Subdirectories);
    while (it.hasNext()) {
        const QString path = it.next();
        const QFileInfo info(path);
        const QString relative = root.relativeFilePath(path);
        if (info.isSymLink()) {
            files.insert(relative, "-> " + info.symLinkTarget().toUtf8());
        } else if (info.isDir()) {
            files.insert(relative + QLatin1Char('/'), QByteArray());
        } else {
            QFile file(path);
            files.insert(relative,
                         file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("<unreadable>"));
        }
    }
    return files;
}
