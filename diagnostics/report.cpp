#include "report.h"

namespace Diagnostics {

QString verdictWord(Verdict verdict) {
    switch (verdict) {
    case Verdict::Ok:
        return QStringLiteral("ok");
    case Verdict::Warning:
        return QStringLiteral("warning");
    case Verdict::Problem:
        return QStringLiteral("problem");
    }
    return QString();
}

int Report::exitCode() const {
    return count(Verdict::Problem) > 0 ? 1 : 0;
}

int Report::count(Verdict verdict) const {
    int total = 0;
    for (const Check &check : checks)
        total += check.verdict == verdict ? 1 : 0;
    return total;
}

QString Report::text() const {
    QString out;
    QString group;
    int nameWidth = 0;
    for (const Check &check : checks)
        nameWidth = qMax(nameWidth, int(check.name.size()));
    for (const Check &check : checks) {
        if (check.group != group) {
            group = check.group;
            out += (out.isEmpty() ? QString() : QStringLiteral("\n")) + group + QLatin1Char('\n');
        }
        out += QStringLiteral("  ") + verdictWord(check.verdict).leftJustified(9) +
               check.name.leftJustified(nameWidth) + QStringLiteral("  ") + check.detail + QLatin1Char('\n');
        if (!check.advice.isEmpty())
            out += QString(11, QLatin1Char(' ')) + QStringLiteral("what to do: ") + check.advice +
                   QLatin1Char('\n');
    }
    const int problems = count(Verdict::Problem);
    const int warnings = count(Verdict::Warning);
    out += QStringLiteral("\n%1 %2, %3 %4, %5 ok\n")
               .arg(problems)
               .arg(problems == 1 ? QStringLiteral("problem") : QStringLiteral("problems"))
               .arg(warnings)
               .arg(warnings == 1 ? QStringLiteral("warning") : QStringLiteral("warnings"))
               .arg(count(Verdict::Ok));
    return out;
}

} // namespace Diagnostics
