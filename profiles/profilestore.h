#pragma once

#include "effectsprofile.h"

#include <QString>
#include <QStringList>

// The profile folder "effect_profiles" under the working directory: file names and display texts made
// from a profile's metadata, listing, reading, writing and the match used for automatic activation.
// Every path is relative to the working directory at the time of the call.
namespace ProfileStore {
QString folderName();
// "effect_profiles/" followed by the file name.
QString filePath(const QString &fileName);

// The name of a telemetry source in file names, list texts and the source selector: "DISABLED", "MSFS",
// "DCS", "IL2 SHTURMOVIK", "WARTHUNDER", "CONDOR2"; empty for a value outside 0..5.
QString sourceName(int source);

// e.g. MSFS_Cessna_152_soft.json; GENERIC when no known source is set.
QString fileNameFor(const EffectsProfileMetadata &metadata);
// e.g. "Cessna 152 (soft)[MSFS]".
QString displayTextFor(const EffectsProfileMetadata &metadata);

// Makes the folder when it is missing; false when that is impossible.
bool makeFolder();
// Every regular file of the folder, hidden files excepted; no directories.
QStringList profileFiles();
// Reads a profile file into an existing profile; an unreadable or non-JSON file reads as an empty document.
void readProfileFile(const QString &fileName, EffectsProfile &profile);
// Writes through a temporary file renamed over the old one, so a failure leaves the old file whole.
bool writeProfileFile(const QString &fileName, const EffectsProfile &profile);
bool removeProfileFile(const QString &fileName);

// The first file name, in ascending order, whose source and flight module equal the given ones exactly;
// empty when none does.
QString matchingProfile(const EffectsProfileIndex &index, Telemetry::Source source,
                        const QString &flightModule);
} // namespace ProfileStore
