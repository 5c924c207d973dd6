#pragma once

#include <QList>
#include <QString>

namespace Diagnostics {

enum class Verdict { Ok, Warning, Problem };
// "ok", "warning", "problem": the words the report and the window show.
QString verdictWord(Verdict verdict);

// One finding: what was looked at, what was found, and one line on what to do (empty when nothing is to do).
struct Check {
    QString group; // "devices", "telemetry ports", "simulators", "network"
    QString name;  // "joystick base 045B:58F9", "UDP 29778 (DCS)", ...
    Verdict verdict = Verdict::Ok;
    QString detail;
    QString advice;
};

struct Report {
    QList<Check> checks;

    // 0 when no check found a problem (warnings alone keep 0), 1 when any did.
    int exitCode() const;
    int count(Verdict verdict) const;
    // The report as the terminal and the support bundle show it: one group after the other, a line per check
    // with its verdict, and the advice indented below it; a summary line at the end.
    QString text() const;
};

} // namespace Diagnostics
