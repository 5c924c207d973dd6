#include "aircraftclass.h"

#include "profilereader.h"

#include <QFile>
#include <QHash>

namespace AircraftClasses {
namespace {
struct DcsModule {
    const char *name;
    AircraftClass aircraftClass;
};

// The names DCS reports (LoGetSelfData().Name) for the aircraft it ships and sells, free ones included.
// A name missing here gets no suggestion; the user picks the class.
constexpr DcsModule DcsModules[] = {
    // Fast jets and jet trainers.
    {"F-16C_50", AircraftClass::Jet},
    {"FA-18C_hornet", AircraftClass::Jet},
    {"F-14B", AircraftClass::Jet},
    {"F-14A-135-GR", AircraftClass::Jet},
    {"F-15C", AircraftClass::Jet},
    {"F-15ESE", AircraftClass::Jet},
    {"F-4E-45MC", AircraftClass::Jet},
    {"F-5E-3", AircraftClass::Jet},
    {"F-86F Sabre", AircraftClass::Jet},
    {"A-10A", AircraftClass::Jet},
    {"A-10C", AircraftClass::Jet},
    {"A-10C_2", AircraftClass::Jet},
    {"AV8BNA", AircraftClass::Jet},
    {"AJS37", AircraftClass::Jet},
    {"M-2000C", AircraftClass::Jet},
    {"Mirage-F1CE", AircraftClass::Jet},
    {"Mirage-F1EE", AircraftClass::Jet},
    {"Mirage-F1BE", AircraftClass::Jet},
    {"JF-17", AircraftClass::Jet},
    {"MiG-15bis", AircraftClass::Jet},
    {"MiG-19P", AircraftClass::Jet},
    {"MiG-21Bis", AircraftClass::Jet},
    {"MiG-29A", AircraftClass::Jet},
    {"MiG-29S", AircraftClass::Jet},
    {"MiG-29G", AircraftClass::Jet},
    {"MiG-29 Fulcrum", AircraftClass::Jet},
    {"Su-25", AircraftClass::Jet},
    {"Su-25T", AircraftClass::Jet},
    {"Su-27", AircraftClass::Jet},
    {"Su-33", AircraftClass::Jet},
    {"J-11A", AircraftClass::Jet},
    {"L-39C", AircraftClass::Jet},
    {"L-39ZA", AircraftClass::Jet},
    {"C-101EB", AircraftClass::Jet},
    {"C-101CC", AircraftClass::Jet},
    // Transport.
    {"C-130J-30", AircraftClass::Heavy},
    // Warbirds and piston trainers.
    {"P-51D", AircraftClass::Propeller},
    {"P-51D-30-NA", AircraftClass::Propeller},
    {"TF-51D", AircraftClass::Propeller},
    {"P-47D-30", AircraftClass::Propeller},
    {"P-47D-30bl1", AircraftClass::Propeller},
    {"P-47D-40", AircraftClass::Propeller},
    {"Bf-109K-4", AircraftClass::Propeller},
    {"FW-190A8", AircraftClass::Propeller},
    {"FW-190D9", AircraftClass::Propeller},
    {"SpitfireLFMkIX", AircraftClass::Propeller},
    {"SpitfireLFMkIXCW", AircraftClass::Propeller},
    {"MosquitoFBMkVI", AircraftClass::Propeller},
    {"F4U-1D", AircraftClass::Propeller},
    {"F4U-1D_CW", AircraftClass::Propeller},
    {"I-16", AircraftClass::Propeller},
    {"Yak-52", AircraftClass::Propeller},
    {"Christen Eagle II", AircraftClass::Propeller},
    // Helicopters.
    {"Ka-50", AircraftClass::Helicopter},
    {"Ka-50_3", AircraftClass::Helicopter},
    {"Mi-8MT", AircraftClass::Helicopter},
    {"Mi-24P", AircraftClass::Helicopter},
    {"UH-1H", AircraftClass::Helicopter},
    {"AH-64D_BLK_II", AircraftClass::Helicopter},
    {"OH58D", AircraftClass::Helicopter},
    {"CH-47Fbl1", AircraftClass::Helicopter},
    {"SA342L", AircraftClass::Helicopter},
    {"SA342M", AircraftClass::Helicopter},
    {"SA342Mistral", AircraftClass::Helicopter},
    {"SA342Minigun", AircraftClass::Helicopter},
};

const QHash<QString, AircraftClass> &dcsTable() {
    static const QHash<QString, AircraftClass> table = [] {
        QHash<QString, AircraftClass> built;
        for (const DcsModule &module : DcsModules)
            built.insert(QString::fromLatin1(module.name), module.aircraftClass);
        return built;
    }();
    return table;
}

AircraftClass fromMsfs(const AircraftFacts &facts) {
    if (facts.msfsCategory.compare(QLatin1String("Helicopter"), Qt::CaseInsensitive) == 0 ||
        facts.msfsEngineType == 3)
        return AircraftClass::Helicopter;
    // An engineless aircraft is a glider, whatever its wake category.
    if (facts.msfsEngineType == 2)
        return AircraftClass::Glider;
    if (facts.msfsAtcHeavy == 1 &&
        (facts.msfsEngineType == 0 || facts.msfsEngineType == 1 || facts.msfsEngineType == 5))
        return AircraftClass::Heavy;
    switch (facts.msfsEngineType) {
    case 0: // piston
    case 5: // turboprop
        return AircraftClass::Propeller;
    case 1:
        return AircraftClass::Jet;
    default: // 4 unsupported, or nothing reported
        return AircraftClass::None;
    }
}

AircraftClass fromXPlane(const AircraftFacts &facts) {
    if (facts.xplaneIsHelicopter == 1)
        return AircraftClass::Helicopter;
    if (facts.xplaneMaxWeightKg > XPlaneHeavyWeightKg)
        return AircraftClass::Heavy;
    switch (facts.xplaneEngineType) {
    case 0:  // recip carb
    case 1:  // recip injected
    case 3:  // electric
    case 9:  // free turboprop
    case 10: // fixed turboprop
        return AircraftClass::Propeller;
    case 5: // single spool jet
    case 6: // rocket
    case 7: // multi spool jet
        return AircraftClass::Jet;
    default:
        return AircraftClass::None;
    }
}
} // namespace

QString name(AircraftClass aircraftClass) {
    switch (aircraftClass) {
    case AircraftClass::Jet:
        return QStringLiteral("Jet");
    case AircraftClass::Heavy:
        return QStringLiteral("Heavy");
    case AircraftClass::Propeller:
        return QStringLiteral("Propeller");
    case AircraftClass::Glider:
        return QStringLiteral("Glider");
    case AircraftClass::Helicopter:
        return QStringLiteral("Helicopter");
    case AircraftClass::None:
        break;
    }
    return QString();
}

AircraftClass fromName(const QString &text) {
    for (AircraftClass aircraftClass : all()) {
        if (name(aircraftClass) == text)
            return aircraftClass;
    }
    return AircraftClass::None;
}

QList<AircraftClass> all() {
    return {AircraftClass::Jet, AircraftClass::Heavy, AircraftClass::Propeller, AircraftClass::Glider,
            AircraftClass::Helicopter};
}

QString templateFileName(AircraftClass aircraftClass) {
    const QString base = name(aircraftClass);
    return base.isEmpty() ? QString() : base + QStringLiteral(".json");
}

QByteArray templateDocument(AircraftClass aircraftClass) {
    if (aircraftClass == AircraftClass::None)
        return QByteArray();
    QFile file(QStringLiteral(":/quillar/templates/") + templateFileName(aircraftClass));
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

bool loadTemplate(AircraftClass aircraftClass, EffectsProfile &profile) {
    const QByteArray document = templateDocument(aircraftClass);
    if (document.isEmpty())
        return false;
    ProfileReader::readProfileDocument(profile, document);
    return true;
}

QStringList dcsModules(AircraftClass aircraftClass) {
    QStringList names;
    for (const DcsModule &module : DcsModules) {
        if (module.aircraftClass == aircraftClass)
            names << QString::fromLatin1(module.name);
    }
    return names;
}

AircraftClass suggest(Telemetry::Source source, const QString &flightModule, const AircraftFacts &facts) {
    switch (source) {
    case Telemetry::TELEMETRY_SOURCE_CONDOR:
        return AircraftClass::Glider;
    // Both report every aircraft as "Generic warbird": nothing tells one from another, and the warbird is
    // what most of their pilots fly.
    case Telemetry::TELEMETRY_SOURCE_IL2:
    case Telemetry::TELEMETRY_SOURCE_WARTHUNDER:
        return AircraftClass::Propeller;
    case Telemetry::TELEMETRY_SOURCE_DCS:
        return dcsTable().value(flightModule, AircraftClass::None);
    case Telemetry::TELEMETRY_SOURCE_MSFS:
        return fromMsfs(facts);
    case Telemetry::TELEMETRY_SOURCE_XPLANE:
        return fromXPlane(facts);
    default:
        return AircraftClass::None;
    }
}
} // namespace AircraftClasses
