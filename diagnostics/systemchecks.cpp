#include "systemchecks.h"

#include <QFileInfo>
#include <QSet>

namespace Diagnostics {

namespace {

constexpr auto RuleFile = "70-vortane-quillar.rules";

QString hex4(quint16 value) {
    return QStringLiteral("%1").arg(value, 4, 16, QLatin1Char('0'));
}

bool isNumber(const QString &text) {
    if (text.isEmpty())
        return false;
    for (const QChar character : text)
        if (!character.isDigit())
            return false;
    return true;
}

QString trimmed(const QByteArray &bytes) {
    return QString::fromUtf8(bytes).trimmed();
}

QString udevAdvice() {
    return QStringLiteral(
               "install the udev rule (sudo install -m 644 /usr/share/vortane-quillar/%1 "
               "/etc/udev/rules.d/ && sudo udevadm control --reload-rules), then unplug and re-plug the "
               "device")
        .arg(QLatin1String(RuleFile));
}

// The folders udev reads its rules from, most specific first.
const QStringList &ruleFolders() {
    static const QStringList folders{QStringLiteral("/etc/udev/rules.d"), QStringLiteral("/run/udev/rules.d"),
                                     QStringLiteral("/usr/local/lib/udev/rules.d"),
                                     QStringLiteral("/usr/lib/udev/rules.d"),
                                     QStringLiteral("/lib/udev/rules.d")};
    return folders;
}

// A rules file that names our vendor and this product for hidraw.
bool ruleCovers(const QByteArray &content, const DeviceId &device) {
    const QString text = QString::fromUtf8(content).toLower();
    for (const QString &line : text.split(QLatin1Char('\n'))) {
        const QString rule = line.trimmed();
        if (rule.startsWith(QLatin1Char('#')))
            continue;
        if (rule.contains(hex4(device.vendor)) && rule.contains(hex4(device.product)))
            return true;
    }
    return false;
}

} // namespace

QString ProcessTable::Holder::describe() const {
    const QString shown = !name.isEmpty()         ? name
                          : !executable.isEmpty() ? executable
                                                  : QStringLiteral("an unnamed program");
    return QStringLiteral("%1 (pid %2)").arg(shown).arg(pid);
}

ProcessTable::ProcessTable(const SystemView &view) {
    for (const QString &entry : view.list(QStringLiteral("/proc"))) {
        if (!isNumber(entry))
            continue;
        const QString base = QStringLiteral("/proc/") + entry;
        SystemView::Status status = SystemView::Status::Ok;
        const QStringList fds = view.list(base + QStringLiteral("/fd"), &status);
        if (status == SystemView::Status::Denied) {
            ++hidden;
            continue;
        }
        if (status != SystemView::Status::Ok)
            continue; // the process ended while we looked
        Holder holder;
        holder.pid = entry.toInt();
        holder.name = trimmed(view.readFile(base + QStringLiteral("/comm")));
        const QString exe = view.readLink(base + QStringLiteral("/exe"));
        // A replaced executable reads "/usr/bin/quillar (deleted)".
        holder.executable = QFileInfo(exe.section(QLatin1Char(' '), 0, 0)).fileName();
        QSet<QString> seen;
        for (const QString &fd : fds) {
            const QString target = view.readLink(base + QStringLiteral("/fd/") + fd);
            if (target.isEmpty() || seen.contains(target))
                continue;
            seen.insert(target);
            holders[target].append(holder);
        }
    }
}

QList<DeviceId> quillarDevices() {
    return {{0x045B, 0x58F9, QStringLiteral("joystick base")},
            {0x045B, 0x5968, QStringLiteral("rudder pedals")}};
}

QList<Check> deviceChecks(const SystemView &view, const ProcessTable &processes) {
    const QString group = QStringLiteral("devices");
    QList<Check> checks;
    QList<bool> present;
    // USB devices: /sys/bus/usb/devices/<port>/idVendor and idProduct.
    QList<QPair<QString, QString>> usb;
    for (const QString &entry : view.list(QStringLiteral("/sys/bus/usb/devices"))) {
        const QString base = QStringLiteral("/sys/bus/usb/devices/") + entry;
        usb.append({trimmed(view.readFile(base + QStringLiteral("/idVendor"))).toLower(),
                    trimmed(view.readFile(base + QStringLiteral("/idProduct"))).toLower()});
    }
    // hidraw nodes: the HID_ID line of /sys/class/hidraw/hidrawN/device/uevent, e.g.
    // HID_ID=0003:0000045B:000058F9.
    QList<QPair<QString, QString>> hidraw; // node name, HID_ID in lower case
    for (const QString &node : view.list(QStringLiteral("/sys/class/hidraw"))) {
        const QByteArray uevent =
            view.readFile(QStringLiteral("/sys/class/hidraw/%1/device/uevent").arg(node));
        for (const QByteArray &line : uevent.split('\n'))
            if (line.startsWith("HID_ID="))
                hidraw.append({node, QString::fromLatin1(line.mid(7)).trimmed().toLower()});
    }

    const QList<DeviceId> devices = quillarDevices();
    int missing = 0;
    for (const DeviceId &device : devices) {
        bool onUsb = false;
        for (const auto &entry : usb)
            onUsb = onUsb || (entry.first == hex4(device.vendor) && entry.second == hex4(device.product));
        present.append(onUsb);
        missing += onUsb ? 0 : 1;
    }
    for (int index = 0; index < devices.size(); ++index) {
        const DeviceId &device = devices[index];
        Check check;
        check.group = group;
        check.name = QStringLiteral("%1 %2:%3")
                         .arg(device.name, hex4(device.vendor).toUpper(), hex4(device.product).toUpper());
        if (!present[index]) {
            // Many fly without pedals: one device missing is worth a warning; no device at all is the
            // problem.
            check.verdict = missing == devices.size() ? Verdict::Problem : Verdict::Warning;
            check.detail = QStringLiteral("not found on USB");
            check.advice =
                QStringLiteral("plug it in (directly, not through an unpowered hub) and check again");
            checks.append(check);
            continue;
        }
        const QString wanted =
            QStringLiteral(":0000%1:0000%2").arg(hex4(device.vendor), hex4(device.product)).toLower();
        QStringList nodes;
        for (const auto &entry : hidraw)
            if (entry.second.endsWith(wanted))
                nodes.append(entry.first);
        if (nodes.isEmpty()) {
            check.verdict = Verdict::Problem;
            check.detail = QStringLiteral("on USB, but the kernel made no hidraw node for it");
            check.advice = QStringLiteral("unplug and re-plug it; if that does not help, see the end of "
                                          "'sudo dmesg' for what the kernel said");
            checks.append(check);
            continue;
        }
        QStringList good;
        QStringList findings;
        Verdict verdict = Verdict::Ok;
        QString advice;
        auto worsen = [&](Verdict to, const QString &finding, const QString &what) {
            findings.append(finding);
            if (int(to) > int(verdict)) {
                verdict = to;
                advice = what;
            }
        };
        for (const QString &node : nodes) {
            const QString path = QStringLiteral("/dev/") + node;
            if (!view.exists(path)) {
                worsen(
                    Verdict::Warning, QStringLiteral("%1 disappeared while it was checked").arg(path),
                    QStringLiteral("check again; if it keeps disappearing, try another USB port or cable"));
                continue;
            }
            if (!view.canReadWrite(path)) {
                worsen(Verdict::Problem, QStringLiteral("%1 is not readable and writable by you").arg(path),
                       udevAdvice());
                continue;
            }
            bool heldByOther = false;
            QStringList ours;
            for (const ProcessTable::Holder &holder : processes.holdersOf(path)) {
                if (holder.isQuillar()) {
                    ours.append(holder.describe());
                    continue;
                }
                heldByOther = true;
                worsen(Verdict::Problem, QStringLiteral("%1 is held open by %2").arg(path, holder.describe()),
                       QStringLiteral("close %1, or stop it from using the device").arg(holder.name));
            }
            if (!heldByOther)
                good.append(ours.isEmpty() ? QStringLiteral("%1 readable and writable").arg(path)
                                           : QStringLiteral("%1 open in Vortane Quillar, %2")
                                                 .arg(path, ours.join(QStringLiteral(", "))));
        }
        check.verdict = verdict;
        check.detail = (findings + good).join(QStringLiteral("; "));
        check.advice = advice;
        checks.append(check);
    }

    // The udev rule: any rules file that names both devices.
    Check rule;
    rule.group = group;
    rule.name = QStringLiteral("udev rule");
    QString found;
    QStringList unreadable;
    for (const QString &folder : ruleFolders()) {
        for (const QString &file : view.list(folder)) {
            if (!file.endsWith(QLatin1String(".rules")))
                continue;
            SystemView::Status status = SystemView::Status::Ok;
            const QByteArray content = view.readFile(folder + QLatin1Char('/') + file, &status);
            if (status == SystemView::Status::Denied)
                unreadable.append(folder + QLatin1Char('/') + file);
            bool all = true;
            for (const DeviceId &device : devices)
                all = all && ruleCovers(content, device);
            if (all && found.isEmpty())
                found = folder + QLatin1Char('/') + file;
        }
    }
    if (!found.isEmpty()) {
        rule.detail = QStringLiteral("installed: %1").arg(found);
    } else {
        // Without the rule only root may open the nodes: a problem once a device is plugged in.
        rule.verdict = missing == devices.size() ? Verdict::Warning : Verdict::Problem;
        rule.detail = QStringLiteral("not installed");
        rule.advice = udevAdvice();
    }
    checks.append(rule);
    return checks;
}

QList<TelemetryPort> telemetryPorts() {
    return {
        {29777, QStringLiteral("IL-2")}, {29778, QStringLiteral("DCS")}, {55278, QStringLiteral("Condor 2")}};
}

QList<Check> portChecks(const SystemView &view, const ProcessTable &processes) {
    struct Socket {
        quint16 port;
        QString inode;
        QString uid;
    };
    // /proc/net/udp and udp6: "sl local_address rem_address st tx_queue:rx_queue tr:tm->when retrnsmt uid
    // timeout inode ..."; the local address ends in ":PORT" in hexadecimal.
    QList<Socket> sockets;
    for (const QString &table : {QStringLiteral("/proc/net/udp"), QStringLiteral("/proc/net/udp6")}) {
        const QList<QByteArray> lines = view.readFile(table).split('\n');
        for (int index = 1; index < lines.size(); ++index) {
            const QList<QByteArray> fields = lines[index].simplified().split(' ');
            if (fields.size() < 10)
                continue;
            const QByteArray local = fields[1];
            const int colon = local.lastIndexOf(':');
            bool ok = false;
            const uint port = colon < 0 ? 0 : local.mid(colon + 1).toUInt(&ok, 16);
            if (!ok || port > 65535)
                continue;
            sockets.append({quint16(port), QString::fromLatin1(fields[9]), QString::fromLatin1(fields[7])});
        }
    }
    QList<Check> checks;
    for (const TelemetryPort &port : telemetryPorts()) {
        Check check;
        check.group = QStringLiteral("telemetry ports");
        check.name = QStringLiteral("UDP %1 (%2)").arg(port.port).arg(port.simulator);
        QStringList ours;
        QStringList others;
        QString otherName;
        bool unknown = false;
        QString unknownUid;
        for (const Socket &socket : sockets) {
            if (socket.port != port.port)
                continue;
            const QList<ProcessTable::Holder> holders =
                processes.holdersOf(QStringLiteral("socket:[%1]").arg(socket.inode));
            if (holders.isEmpty()) {
                unknown = true;
                unknownUid = socket.uid;
            }
            for (const ProcessTable::Holder &holder : holders) {
                if (holder.isQuillar()) {
                    ours.append(holder.describe());
                } else {
                    others.append(holder.describe());
                    otherName = holder.name;
                }
            }
        }
        ours.removeDuplicates();
        others.removeDuplicates();
        if (!others.isEmpty()) {
            check.verdict = Verdict::Problem;
            check.detail = QStringLiteral("held by %1").arg(others.join(QStringLiteral(", ")));
            check.advice =
                QStringLiteral("close %1: while it holds the port, %2's data does not reach Vortane Quillar")
                    .arg(otherName, port.simulator);
        } else if (unknown && processes.hiddenProcesses() > 0) {
            check.verdict = Verdict::Problem;
            check.detail = QStringLiteral("held by another user's program (uid %1)").arg(unknownUid);
            check.advice =
                QStringLiteral("ask who runs it, or find it with 'sudo ss -ulpn sport = :%1'").arg(port.port);
        } else if (unknown && ours.isEmpty()) {
            check.verdict = Verdict::Warning;
            check.detail = QStringLiteral("held by a program that closed it while it was checked");
            check.advice = QStringLiteral("check again");
        } else if (!ours.isEmpty()) {
            check.detail =
                QStringLiteral("in use by Vortane Quillar, %1").arg(ours.join(QStringLiteral(", ")));
        } else {
            check.detail = QStringLiteral("free");
        }
        checks.append(check);
    }
    return checks;
}

} // namespace Diagnostics
