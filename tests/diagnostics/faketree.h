#pragma once

#include "systemview.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSet>
#include <QTemporaryDir>

#include <unistd.h>

// A machine's /proc, /sys, /dev and /etc as the checks read them, built in a scratch folder: USB devices,
// hidraw nodes, processes with their open files, the UDP socket tables and udev rules. The tests run as any
// user (root too), so the permissions a node or a process's folder would have are told, not set on disk.
struct FakeTreeFolder {
    QTemporaryDir scratch; // made before the view that reads under it
};

class FakeTree : private FakeTreeFolder, public SystemView {
public:
    FakeTree() : SystemView(scratch.path()) {}

    void write(const QString &path, const QByteArray &content) const {
        const QString host = hostPath(path);
        QDir().mkpath(QFileInfo(host).path());
        QFile file(host);
        if (file.open(QIODevice::WriteOnly))
            file.write(content);
    }
    void link(const QString &path, const QString &target) const {
        const QString host = hostPath(path);
        QDir().mkpath(QFileInfo(host).path());
        QFile::remove(host);
        ::symlink(QFile::encodeName(target).constData(), QFile::encodeName(host).constData());
    }
    void remove(const QString &path) const {
        QFileInfo info(hostPath(path));
        if (info.isDir())
            QDir(hostPath(path)).removeRecursively();
        else
            QFile::remove(hostPath(path));
    }

    // A USB device at `port` (e.g. "1-2") and its hidraw node `node` (e.g. "hidraw3"), both present.
    void plug(const QString &port, const QString &product, const QString &node) const {
        write(QStringLiteral("/sys/bus/usb/devices/%1/idVendor").arg(port), "045b\n");
        write(QStringLiteral("/sys/bus/usb/devices/%1/idProduct").arg(port), product.toLatin1() + '\n');
        write(QStringLiteral("/sys/class/hidraw/%1/device/uevent").arg(node),
              "DRIVER=hid-generic\nHID_ID=0003:0000045B:0000" + product.toUpper().toLatin1() +
                  "\nHID_NAME=Vortane\n");
        write(QStringLiteral("/dev/") + node, QByteArray());
    }
    void plugBoth() const {
        plug(QStringLiteral("1-2"), QStringLiteral("58f9"), QStringLiteral("hidraw3"));
        plug(QStringLiteral("1-3"), QStringLiteral("5968"), QStringLiteral("hidraw4"));
    }
    void installRule() const {
        write(
            QStringLiteral("/etc/udev/rules.d/70-vortane-quillar.rules"),
            "SUBSYSTEM==\"hidraw\", ATTRS{idVendor}==\"045b\", ATTRS{idProduct}==\"58f9\", TAG+=\"uaccess\"\n"
            "SUBSYSTEM==\"hidraw\", ATTRS{idVendor}==\"045b\", ATTRS{idProduct}==\"5968\", "
            "TAG+=\"uaccess\"\n");
    }
    // A process with its name and executable, holding the given link targets open.
    void process(int pid, const QByteArray &name, const QString &executable, const QStringList &open) const {
        const QString base = QStringLiteral("/proc/%1").arg(pid);
        write(base + QStringLiteral("/comm"), name + '\n');
        link(base + QStringLiteral("/exe"), executable);
        QDir().mkpath(hostPath(base + QStringLiteral("/fd")));
        int fd = 3;
        for (const QString &target : open)
            link(base + QStringLiteral("/fd/%1").arg(fd++), target);
    }
    // /proc/net/udp with one line per (port, inode, uid).
    void udp(const QList<std::tuple<quint16, int, int>> &sockets, bool six = false) const {
        QByteArray table =
            "  sl  local_address rem_address   st tx_queue rx_queue tr tm->when retrnsmt   uid  "
            "timeout inode\n";
        int line = 0;
        for (const auto &[port, inode, uid] : sockets)
            table += QStringLiteral(
                         "  %1: %2:%3 00000000:0000 07 00000000:00000000 00:00000000 00000000 %4 0 %5 2 "
                         "0000000000000000 0\n")
                         .arg(line++)
                         .arg(six ? QStringLiteral("00000000000000000000000000000000")
                                  : QStringLiteral("0100007F"))
                         .arg(port, 4, 16, QLatin1Char('0'))
                         .arg(uid, 5)
                         .arg(inode)
                         .toUpper()
                         .toLatin1();
        write(six ? QStringLiteral("/proc/net/udp6") : QStringLiteral("/proc/net/udp"), table);
    }

    QSet<QString> noAccess; // nodes this user may not open
    QSet<QString> denied;   // folders this user may not list

    QStringList list(const QString &path, Status *status = nullptr) const override {
        if (denied.contains(path)) {
            if (status)
                *status = Status::Denied;
            return {};
        }
        return SystemView::list(path, status);
    }
    bool canReadWrite(const QString &path) const override { return !noAccess.contains(path) && exists(path); }
};
