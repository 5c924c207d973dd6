#pragma once

#include "report.h"

#include <QByteArray>
#include <QString>

namespace Diagnostics {

// One check per simulator installation the set-up engine finds under `home`, with its status in the words
// `quillar-setup status` uses; a simulator with no installation gets one line saying so.
QList<Check> simulatorChecks(const QString &home, const QByteArray &dcsScript);

} // namespace Diagnostics
