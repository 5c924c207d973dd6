#pragma once

#include "report.h"
#include "systemview.h"

#include <QHash>
#include <QList>
#include <QString>

namespace Diagnostics {

// Which processes hold which files and sockets open, read once from /proc/*/fd.
class ProcessTable {
public:
    struct Holder {
        int pid = 0;
        QString name;       // /proc/PID/comm
        QString executable; // the file name of /proc/PID/exe; empty when it cannot be read
        bool isQuillar() const { return executable == QLatin1String("quillar"); }
        // "steam (pid 4242)"
        QString describe() const;
    };

    explicit ProcessTable(const SystemView &view);

    // Holders of a link target as /proc shows it: "/dev/hidraw3", "socket:[4242]".
    QList<Holder> holdersOf(const QString &target) const { return holders.value(target); }
    // Processes whose open files this user may not see (another user's).
    int hiddenProcesses() const { return hidden; }

private:
    QHash<QString, QList<Holder>> holders;
    int hidden = 0;
};

struct DeviceId {
    quint16 vendor;
    quint16 product;
    QString name; // "joystick base"
};
QList<DeviceId> quillarDevices();

// Each device: on USB, its hidraw node, open for this user, held by another program; then the udev rule.
QList<Check> deviceChecks(const SystemView &view, const ProcessTable &processes);

struct TelemetryPort {
    quint16 port;
    QString simulator;
};
QList<TelemetryPort> telemetryPorts();

// Each telemetry port: free, ours, or held by another program (named), or by another user's.
QList<Check> portChecks(const SystemView &view, const ProcessTable &processes);

} // namespace Diagnostics
