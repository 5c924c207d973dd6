#pragma once

#include "effectsprofile.h"

#include <QByteArray>
#include <QJsonObject>
#include <cstdint>

// Reads the JSON form of a profile into settings that already exist, one reader per level. A value is taken
// only when its JSON type is right; anything else falls back to that field's default, silently. Numbers are
// taken as they stand, without range checks.
namespace ProfileReader {
void readRange(SettingsRange &range, const QJsonObject &object);
void readSimpleEffect(SimpleEffectSettings &settings, const QJsonObject &object);
void readSpeedDependantShaker(GenericSpeedDependantShakerSettings &settings, const QJsonObject &object);
void readAoAShaker(AoAShakerSettings &settings, const QJsonObject &object);
void readJolt(JoltSettings &settings, const QJsonObject &object);
void readAirflowSpring(AirflowSpringSettings &settings, const QJsonObject &object);
void readDirectX(DirectXSettings &settings, const QJsonObject &object);
void readCondorShaker(CondorShakerSettings &settings, const QJsonObject &object);
void readSmartDamper(SmartDamperSettings &settings, const QJsonObject &object);

void readAxis(AxisEffectsSettings &axis, const QJsonObject &object);
void readEffects(EffectsSettings &settings, const QJsonObject &object);
void readMetadata(EffectsProfileMetadata &metadata, const QJsonObject &object);
// The top-level object of a profile document: "metadata" and "effects".
void readProfile(EffectsProfile &profile, const QJsonObject &object);
// Text that is not JSON, or JSON whose top is not an object, reads as an empty object.
void readProfileDocument(EffectsProfile &profile, const QByteArray &text);

// JSON numbers are doubles: an integer field takes the value truncated towards zero, saturated to the
// field's range (NaN gives 0), since Qt's own toInt() answers 0 for any fraction.
int32_t truncatedInt32(double value);
int64_t truncatedInt64(double value);
} // namespace ProfileReader
