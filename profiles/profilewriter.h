#pragma once

#include "effectsprofile.h"

#include <QByteArray>
#include <QJsonObject>

// The JSON form of a profile. One writer per level; each effect's writer starts from the writer of the
// settings class it extends. Every float is widened to double as it stands, so a file shows the float's
// exact value; the two integer fields are written as integers.
namespace ProfileWriter {
QJsonObject writeRange(const SettingsRange &range);
QJsonObject writeSimpleEffect(const SimpleEffectSettings &settings);
QJsonObject writeSpeedDependantShaker(const GenericSpeedDependantShakerSettings &settings);
QJsonObject writeAoAShaker(const AoAShakerSettings &settings);
QJsonObject writeJolt(const JoltSettings &settings);
QJsonObject writeAirflowSpring(const AirflowSpringSettings &settings);
QJsonObject writeDirectX(const DirectXSettings &settings);
QJsonObject writeCondorShaker(const CondorShakerSettings &settings);
QJsonObject writeSmartDamper(const SmartDamperSettings &settings);

// Only the active effects of the axis appear; an inactive effect's values are not kept.
QJsonObject writeAxis(const AxisEffectsSettings &axis);
QJsonObject writeEffects(const EffectsSettings &settings);
QJsonObject writeMetadata(const EffectsProfileMetadata &metadata);
QJsonObject writeProfile(const EffectsProfile &profile);

// The indented text of a whole profile document, as stored in a profile file.
QByteArray profileDocument(const EffectsProfile &profile);
} // namespace ProfileWriter
