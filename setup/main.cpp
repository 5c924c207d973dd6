#include "doctor.h"
#include "setupengine.h"
#include "setuptool.h"

#include <QCoreApplication>
#include <QTextStream>
#include <cstdio>

int main(int argc, char *argv[]) {
    QCoreApplication app(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("quillar-setup"));
    QCoreApplication::setApplicationVersion(QStringLiteral(QUILLAR_VERSION));
    QTextStream out(stdout);
    QTextStream err(stderr);
    // `quillar-setup doctor`: the checks of the Diagnostics window, in the terminal.
    if (const QStringList arguments = QCoreApplication::arguments();
        arguments.size() > 1 && arguments.at(1) == QLatin1String("doctor"))
        return Diagnostics::runDoctorCommand(arguments, out, err, QuillarSetup::dcsScriptFromResource());
    return QuillarSetup::runSetupTool(QCoreApplication::arguments(), out, err,
                                      QuillarSetup::dcsScriptFromResource());
}
