#include "doctor.h"

#include "logfilesink.h"
#include "setupengine.h"
#include "setuptool.h"
#include "simulatorchecks.h"
#include "supportbundle.h"
#include "systemchecks.h"
#include "telemetrysourcexplane.h"

#include <QDir>
#include <QFileInfo>
#include <QTextStream>

namespace Diagnostics {

DoctorSetting DoctorSetting::forHome(const QString &home, const QByteArray &dcsScript) {
    DoctorSetting setting;
    setting.home = home;
    setting.dcsScript = dcsScript;
    setting.workingFolder = setting.dataFolder();
    setting.targets.simConnect = simConnectEndpoints(setting.workingFolder, setting.dataFolder());
    const XPlane::Endpoint xplane = XPlane::configuredEndpoint();
    setting.targets.xplaneHost = xplane.host;
    setting.targets.xplanePort = xplane.port;
    return setting;
}

QString DoctorSetting::dataFolder() const {
    return QuillarSetup::SetupEngine(home, dcsScript).dataFolder();
}

QString DoctorSetting::logFolder() const {
    return LogFileSink::defaultFolder();
}

QStringList DoctorSetting::settingsFiles() const {
    return {XPlane::settingsFilePath(), QDir(workingFolder).filePath(QStringLiteral("SimConnect.cfg")),
            QDir(dataFolder()).filePath(QStringLiteral("SimConnect.cfg"))};
}

Report runChecks(const DoctorSetting &setting) {
    Report report;
#ifdef Q_OS_LINUX
    const SystemView rooted(setting.systemRoot);
    const SystemView &view = setting.system ? *setting.system : rooted;
    const ProcessTable processes(view);
    report.checks += deviceChecks(view, processes);
    report.checks += portChecks(view, processes);
#endif
    report.checks += simulatorChecks(setting.home, setting.dcsScript);
    report.checks += networkChecks(setting.targets, setting.probeTimeoutMs);
    return report;
}

QString setupStatusText(const DoctorSetting &setting) {
    QString text;
    QString errors;
    QTextStream out(&text);
    QTextStream err(&errors);
    QuillarSetup::runSetupTool(
        {QStringLiteral("quillar-setup"), QStringLiteral("--home"), setting.home, QStringLiteral("status")},
        out, err, setting.dcsScript);
    out.flush();
    err.flush();
    return text + errors;
}

namespace {

int usage(QTextStream &err, const QString &message) {
    err << "quillar-setup: " << message << "\n"
        << "Usage: quillar-setup doctor [--home DIR] [--bundle FILE]\n";
    err.flush();
    return 2;
}

struct DoctorArguments {
    QString home;
    QString bundle;
    bool homeGiven = false;
    bool bundleGiven = false;
    bool help = false;
};

const char *const HelpText =
    "Usage: quillar-setup doctor [--home DIR] [--bundle FILE]\n"
    "Checks why Vortane Quillar might do nothing: the devices, their udev rule and permissions, the telemetry\n"
    "ports, each simulator's set-up, and whether MSFS, X-Plane and War Thunder answer (1 s each).\n"
    "  --home DIR      look for the simulators under DIR instead of $HOME\n"
    "  --bundle FILE   also write a support bundle (FILE.zip: zip, otherwise tar.gz)\n"
    "Exit status: 0 no problem found (warnings allowed), 1 a problem found, 2 bad arguments or a bundle that\n"
    "could not be written.\n";

// The doctor's own few options, read by hand: the tool's parser belongs to the set-up commands.
bool readArguments(const QStringList &arguments, DoctorArguments &result, QString &problem) {
    for (int index = 2; index < arguments.size(); ++index) {
        const QString &argument = arguments[index];
        auto value = [&](const QString &option, QString &into, bool &given) {
            if (argument.startsWith(option + QLatin1Char('='))) {
                into = argument.mid(option.size() + 1);
            } else if (index + 1 < arguments.size()) {
                into = arguments[++index];
            } else {
                problem = QStringLiteral("%1 needs a value").arg(option);
                return false;
            }
            given = true;
            return true;
        };
        if (argument == QLatin1String("--help") || argument == QLatin1String("-h")) {
            result.help = true;
        } else if (argument == QLatin1String("--bundle") || argument.startsWith(QLatin1String("--bundle="))) {
            if (!value(QStringLiteral("--bundle"), result.bundle, result.bundleGiven))
                return false;
        } else if (argument == QLatin1String("--home") || argument.startsWith(QLatin1String("--home="))) {
            if (!value(QStringLiteral("--home"), result.home, result.homeGiven))
                return false;
        } else {
            problem = argument.startsWith(QLatin1Char('-'))
                          ? QStringLiteral("unknown option \"%1\"").arg(argument)
                          : QStringLiteral("unexpected \"%1\"").arg(argument);
            return false;
        }
    }
    if (result.bundleGiven && result.bundle.isEmpty()) {
        problem = QStringLiteral("--bundle needs a file name");
        return false;
    }
    return true;
}

int runDoctor(const DoctorArguments &arguments, QTextStream &out, QTextStream &err,
              const DoctorSetting &setting) {
    const Report report = runChecks(setting);
    const QString text = report.text();
    out << "Vortane Quillar diagnostics\n\n" << text;
    out.flush();
    if (!arguments.bundleGiven)
        return report.exitCode();
    SupportBundle bundle(setting.home);
    BundleSources sources;
    sources.home = setting.home;
    sources.versions = versionsText(QStringLiteral("quillar-setup"));
    sources.report = text;
    sources.setupStatus = setupStatusText(setting);
    sources.logFolder = setting.logFolder();
    sources.profileFolder = QDir(setting.workingFolder).filePath(QStringLiteral("effect_profiles"));
    sources.settingsFiles = setting.settingsFiles();
    sources.settingsFiles.removeDuplicates();
    addCommonParts(bundle, sources);
    QString error;
    if (!bundle.write(arguments.bundle, &error)) {
        err << "quillar-setup: " << error << "\n";
        err.flush();
        return 2;
    }
    out << "\nSupport bundle written to " << arguments.bundle << ":\n";
    for (const QString &name : bundle.fileNames())
        out << "  " << name << "\n";
    out.flush();
    return report.exitCode();
}

} // namespace

int runDoctorCommand(const QStringList &arguments, QTextStream &out, QTextStream &err,
                     const QByteArray &dcsScript) {
    DoctorArguments parsed;
    QString problem;
    if (!readArguments(arguments, parsed, problem))
        return usage(err, problem);
    if (parsed.help) {
        out << HelpText;
        out.flush();
        return 0;
    }
    const QString home = parsed.homeGiven ? parsed.home : QDir::homePath();
    if (home.isEmpty() || !QFileInfo(home).isDir())
        return usage(err, QStringLiteral("no folder \"%1\"").arg(home));
    return runDoctor(parsed, out, err, DoctorSetting::forHome(home, dcsScript));
}

int runDoctorCommand(const QStringList &arguments, QTextStream &out, QTextStream &err,
                     const DoctorSetting &setting) {
    DoctorArguments parsed;
    QString problem;
    if (!readArguments(arguments, parsed, problem))
        return usage(err, problem);
    if (parsed.homeGiven)
        return usage(err, QStringLiteral("--home is fixed by the caller here"));
    return runDoctor(parsed, out, err, setting);
}

} // namespace Diagnostics
