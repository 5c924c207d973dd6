#include "profilestore.h"

#include "profilereader.h"
#include "profilewriter.h"

#include <QDir>
#include <QFile>
#include <QRegularExpression>
#include <QSaveFile>

namespace ProfileStore {
namespace {
const QRegularExpression &unsafeCharacters() {
    static const QRegularExpression expression(QStringLiteral("[^a-zA-Z\\d]"));
    return expression;
}

QString cleaned(QString text) {
    return text.replace(unsafeCharacters(), QStringLiteral("_"));
}
} // namespace

QString folderName() {
    return QStringLiteral("effect_profiles");
}

QString filePath(const QString &fileName) {
    return folderName() + QLatin1Char('/') + fileName;
}

QString sourceName(int source) {
    switch (source) {
    case Telemetry::TELEMETRY_SOURCE_NONE:
        return QStringLiteral("DISABLED");
    case Telemetry::TELEMETRY_SOURCE_MSFS:
        return QStringLiteral("MSFS");
    case Telemetry::TELEMETRY_SOURCE_DCS:
        return QStringLiteral("DCS");
    case Telemetry::TELEMETRY_SOURCE_IL2:
        return QStringLiteral("IL2 SHTURMOVIK");
    case Telemetry::TELEMETRY_SOURCE_WARTHUNDER:
        return QStringLiteral("WARTHUNDER");
    case Telemetry::TELEMETRY_SOURCE_CONDOR:
        return QStringLiteral("CONDOR2");
    case Telemetry::TELEMETRY_SOURCE_XPLANE:
        return QStringLiteral("XPLANE");
    default:
        return QString();
    }
}

QString fileNameFor(const EffectsProfileMetadata &metadata) {
    const int source = metadata.source;
    // The source name goes in as it stands: an IL-2 profile's file name keeps the blank of
    // "IL2 SHTURMOVIK", and existing files are found by that name.
    QString name =
        (source >= Telemetry::TELEMETRY_SOURCE_MSFS && source <= Telemetry::TELEMETRY_SOURCE_XPLANE)
            ? sourceName(source)
            : QStringLiteral("GENERIC");
    if (!metadata.flightModule.isEmpty())
        name += QLatin1Char('_') + cleaned(metadata.flightModule);
    if (!metadata.comment.isEmpty())
        name += QLatin1Char('_') + cleaned(metadata.comment);
    return name + QStringLiteral(".json");
}

QString displayTextFor(const EffectsProfileMetadata &metadata) {
    QString text;
    if (!metadata.flightModule.isEmpty())
        text = QStringLiteral("%1 ").arg(metadata.flightModule);
    else if (!metadata.comment.isEmpty())
        text = QStringLiteral("%1 ").arg(metadata.comment);
    // Without a flight module the comment shows twice ("soft (soft)"); the list has always read so.
    if (!metadata.comment.isEmpty() && metadata.comment != metadata.flightModule)
        text += QStringLiteral("(%1)").arg(metadata.comment);
    const int source = metadata.source;
    if (source >= Telemetry::TELEMETRY_SOURCE_MSFS && source <= Telemetry::TELEMETRY_SOURCE_XPLANE)
        text += QStringLiteral("[%1]").arg(sourceName(source));
    return text;
}

bool makeFolder() {
    return QDir().mkpath(folderName());
}

QStringList profileFiles() {
    return QDir(folderName()).entryList(QDir::Files, QDir::Name);
}

void readProfileFile(const QString &fileName, EffectsProfile &profile) {
    QFile file(filePath(fileName));
    QByteArray text;
    if (file.open(QIODevice::ReadOnly))
        text = file.readAll();
    ProfileReader::readProfileDocument(profile, text);
}

bool writeProfileFile(const QString &fileName, const EffectsProfile &profile) {
    makeFolder();
    QSaveFile file(filePath(fileName));
    if (!file.open(QIODevice::WriteOnly))
        return false;
    const QByteArray text = ProfileWriter::profileDocument(profile);
    if (file.write(text) != text.size()) {
        file.cancelWriting();
        return false;
    }
    return file.commit();
}

bool removeProfileFile(const QString &fileName) {
    return QFile::remove(filePath(fileName));
}

QString matchingProfile(const EffectsProfileIndex &index, Telemetry::Source source,
                        const QString &flightModule) {
    // A source alone never matches: a profile for a whole simulator has an empty flight module and is
    // chosen only when the simulator reports no aircraft either.
    for (auto it = index.cbegin(); it != index.cend(); ++it) {
        if (it.value().source == source && it.value().flightModule == flightModule)
            return it.key();
    }
    return QString();
}
} // namespace ProfileStore
