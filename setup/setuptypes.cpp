#include "setuptypes.h"

#include <QtGlobal>

namespace QuillarSetup {

QList<Simulator> allSimulators() {
    return {Simulator::Dcs,  Simulator::Il2,    Simulator::Condor2,
            Simulator::Msfs, Simulator::XPlane, Simulator::WarThunder};
}

QString simulatorKey(Simulator simulator) {
    switch (simulator) {
    case Simulator::Dcs:
        return QStringLiteral("dcs");
    case Simulator::Il2:
        return QStringLiteral("il2");
    case Simulator::Condor2:
        return QStringLiteral("condor2");
    case Simulator::Msfs:
        return QStringLiteral("msfs");
    case Simulator::XPlane:
        return QStringLiteral("xplane");
    case Simulator::WarThunder:
        return QStringLiteral("warthunder");
    }
    return QString();
}

QString simulatorName(Simulator simulator) {
    switch (simulator) {
    case Simulator::Dcs:
        return QStringLiteral("DCS World");
    case Simulator::Il2:
        return QStringLiteral("IL-2 Sturmovik: Great Battles");
    case Simulator::Condor2:
        return QStringLiteral("Condor 2");
    case Simulator::Msfs:
        return QStringLiteral("Microsoft Flight Simulator");
    case Simulator::XPlane:
        return QStringLiteral("X-Plane");
    case Simulator::WarThunder:
        return QStringLiteral("War Thunder");
    }
    return QString();
}

bool simulatorFromKey(const QString &key, Simulator *simulator) {
    for (Simulator candidate : allSimulators()) {
        if (simulatorKey(candidate) == key) {
            *simulator = candidate;
            return true;
        }
    }
    return false;
}

Platform hostPlatform() {
    const QByteArray chosen = qgetenv("QUILLAR_SETUP_PLATFORM").toLower();
    if (chosen == "windows") {
        return Platform::Windows;
    }
    if (chosen == "linux") {
        return Platform::Linux;
    }
#ifdef Q_OS_WIN
    return Platform::Windows;
#else
    return Platform::Linux;
#endif
}

QString stateText(State state) {
    switch (state) {
    case State::Ready:
        return QStringLiteral("ready");
    case State::NotSetUp:
        return QStringLiteral("not set up");
    case State::NeedsRepair:
        return QStringLiteral("needs repair");
    case State::NothingToSetUp:
        return QStringLiteral("nothing to set up");
    }
    return QString();
}

} // namespace QuillarSetup
