#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>

// The one way the checks look at /proc, /sys, /dev and /etc: paths are the system's own ("/proc/net/udp"),
// read under `root`, so a test hands the checks a fake tree in a scratch folder. Every read may find the
// entry gone (a process that ended mid-scan, a device unplugged) or closed to this user, and says which.
class SystemView {
public:
    enum class Status { Ok, Missing, Denied };

    explicit SystemView(const QString &root = QStringLiteral("/"));
    virtual ~SystemView() = default;

    QString root() const { return rootFolder; }
    // Where the system's `path` is in this view.
    QString hostPath(const QString &path) const;

    // At most `limit` bytes: /proc and /sys files are small, and a fake tree must not make us read forever.
    virtual QByteArray readFile(const QString &path, Status *status = nullptr, qint64 limit = 1 << 20) const;
    // Names in a folder, sorted; "." and ".." left out.
    virtual QStringList list(const QString &path, Status *status = nullptr) const;
    // The target of a symbolic link as it stands ("/dev/hidraw3", "socket:[4242]"); empty when there is none.
    virtual QString readLink(const QString &path, Status *status = nullptr) const;
    virtual bool exists(const QString &path) const;
    // Whether this user may open `path` for reading and writing.
    virtual bool canReadWrite(const QString &path) const;

private:
    QString rootFolder;
};
