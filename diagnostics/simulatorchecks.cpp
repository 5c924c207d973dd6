#include "simulatorchecks.h"

#include "setupengine.h"

namespace Diagnostics {

QList<Check> simulatorChecks(const QString &home, const QByteArray &dcsScript) {
    using namespace QuillarSetup;
    const SetupEngine engine(home, dcsScript);
    const Discovery discovery = engine.discover();
    QList<Check> checks;
    for (Simulator simulator : allSimulators()) {
        bool any = false;
        for (const Installation &installation : discovery.installations) {
            if (installation.simulator != simulator)
                continue;
            any = true;
            const Assessment assessment = engine.assess(installation);
            Check check;
            check.group = QStringLiteral("simulators");
            check.name = simulatorName(simulator) + (installation.variant.isEmpty()
                                                         ? QString()
                                                         : QStringLiteral(" (%1)").arg(installation.variant));
            check.detail = stateText(assessment.state) + QStringLiteral(": ") + installation.folder;
            if (!assessment.problems.isEmpty())
                check.detail +=
                    QStringLiteral(" (") + assessment.problems.join(QStringLiteral("; ")) + QLatin1Char(')');
            const QString install =
                QStringLiteral("run 'quillar-setup install %1'").arg(simulatorKey(simulator));
            switch (assessment.state) {
            case State::Ready:
            case State::NothingToSetUp:
                break;
            case State::NotSetUp:
                // Not every installed simulator is one the user flies with us.
                check.verdict = Verdict::Warning;
                check.advice = install + QStringLiteral(" to fly it with Vortane Quillar");
                break;
            case State::NeedsRepair:
                check.verdict = Verdict::Problem;
                check.advice = install + QStringLiteral(" to repair it");
                break;
            }
            if (!assessment.problems.isEmpty() && check.verdict == Verdict::Ok) {
                check.verdict = Verdict::Warning;
                check.advice = QStringLiteral("see 'quillar-setup status %1'").arg(simulatorKey(simulator));
            }
            checks.append(check);
        }
        if (!any) {
            Check check;
            check.group = QStringLiteral("simulators");
            check.name = simulatorName(simulator);
            check.detail = QStringLiteral("no installation found");
            checks.append(check);
        }
    }
    return checks;
}

} // namespace Diagnostics
