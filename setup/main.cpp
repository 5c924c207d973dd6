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
    return QuillarSetup::runSetupTool(QCoreApplication::arguments(), out, err,
                                      QuillarSetup::dcsScriptFromResource());
}
