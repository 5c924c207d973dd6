#pragma once

#include "probes.h"
#include "report.h"
#include "systemview.h"

#include <QByteArray>
#include <QString>
#include <QStringList>

class QTextStream;

namespace Diagnostics {

// Where the checks look. The defaults are this machine and this user; tests point every field somewhere else.
struct DoctorSetting {
    QString home; // the user's home: the simulators' folders, the data folder, and "~" in the bundle
    QString systemRoot = QStringLiteral("/"); // /proc, /sys, /dev and /etc are read under it
    const SystemView *system = nullptr;       // a view of its own instead of one of systemRoot (tests)
    QString workingFolder;  // where the program runs (its SimConnect.cfg); the launcher's folder by default
    NetworkTargets targets; // filled from the settings and SimConnect.cfg look-up by forHome()
    QByteArray dcsScript;   // the export script this build ships
    int probeTimeoutMs = ProbeTimeoutMs;

    // This user's: `home`, the launcher's data folder as working folder, the program's settings file.
    static DoctorSetting forHome(const QString &home, const QByteArray &dcsScript);
    QString dataFolder() const; // <home>/.local/share/vortane-quillar (the launcher's folder)
    QString logFolder() const;
    QStringList settingsFiles() const;
};

// Every check in the order the report shows them: devices, telemetry ports, simulators, network.
Report runChecks(const DoctorSetting &setting);

// What `quillar-setup status` prints for the setting's home.
QString setupStatusText(const DoctorSetting &setting);

// `quillar-setup doctor [--home DIR] [--bundle FILE]`; `arguments` starts with the program name and then
// "doctor". Returns 0 when no check found a problem, 1 when one did, 2 for a usage error or a bundle that
// could not be written.
int runDoctorCommand(const QStringList &arguments, QTextStream &out, QTextStream &err,
                     const QByteArray &dcsScript);
// The same with the setting given whole (tests); --home is then not taken.
int runDoctorCommand(const QStringList &arguments, QTextStream &out, QTextStream &err,
                     const DoctorSetting &setting);

} // namespace Diagnostics
