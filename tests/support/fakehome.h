#pragma once

#include <QByteArray>
#include <QMap>
#include <QString>
#include <QTemporaryDir>

// A throw-away home folder for the set-up tests: files are written by path relative to it, and a snapshot
// reads every file back (links as "-> target") so whole trees compare byte for byte.
class FakeHome {
public:
    FakeHome();
    bool isValid() const { return directory.isValid(); }
    QString path() const { return directory.path(); }
    QString filePath(const QString &relative) const;

    // Makes the folders on the way; false on failure.
    bool write(const QString &relative, const QByteArray &bytes) const;
    bool makeFolder(const QString &relative) const;
    bool link(const QString &relative, const QString &target) const;
    QByteArray read(const QString &relative) const;
    bool exists(const QString &relative) const;

    // Every file and link under the home, by relative path. Folders appear as "dir/" with an empty value.
    QMap<QString, QByteArray> snapshot() const;

private:
    QTemporaryDir directory;
};
