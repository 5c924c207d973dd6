#pragma once

#include <QByteArray>
#include <QStringList>

class QTextStream;

namespace QuillarSetup {

// The whole of quillar-setup after the application object exists, so tests run it in-process:
// `arguments` starts with the program name. Returns the exit code: 0 done, 1 something could not be done,
// 2 bad arguments.
int runSetupTool(const QStringList &arguments, QTextStream &out, QTextStream &err,
                 const QByteArray &dcsScript);

} // namespace QuillarSetup
