#pragma once

#include <QProcess>
#include <QProcessEnvironment>
#include <QString>
#include <QStringList>

// Starts the whole program as a user would, offscreen, in `workingDirectory`, with the preloaded hidapi
// double steered from `deviceDirectory`, further preloaded libraries after it, `extra` in its environment and
// `arguments` on its command line.
// A sanitizer build gets its runtime preloaded ahead of everything, or it refuses to start. The test target
// defines QUILLAR_EXECUTABLE, QUILLAR_HID_PRELOAD and QUILLAR_ASAN_RUNTIME.
inline void startProgram(QProcess &program, const QString &workingDirectory, const QString &deviceDirectory,
                         const QStringList &morePreloads = {},
                         const QProcessEnvironment &extra = QProcessEnvironment(),
                         const QStringList &arguments = QStringList()) {
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("QT_QPA_PLATFORM"), QStringLiteral("offscreen"));
    environment.insert(QStringLiteral("QUILLAR_HID_DOUBLE_DIR"), deviceDirectory);
    QStringList preloads{QStringLiteral(QUILLAR_HID_PRELOAD)};
    preloads << morePreloads;
    const QString asanRuntime = QStringLiteral(QUILLAR_ASAN_RUNTIME);
    if (!asanRuntime.isEmpty())
        preloads.prepend(asanRuntime);
    environment.insert(QStringLiteral("LD_PRELOAD"), preloads.join(QLatin1Char(' ')));
    environment.insert(extra);
    program.setProcessEnvironment(environment);
    program.setWorkingDirectory(workingDirectory);
    program.setProcessChannelMode(QProcess::MergedChannels);
    program.start(QStringLiteral(QUILLAR_EXECUTABLE), arguments);
}
