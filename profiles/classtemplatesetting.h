#pragma once

#include <QString>

// "[profiles] use_class_template" in the program's settings file: when true, an aircraft without a profile of
// its own flies with its class's template (unsaved) instead of the settings that happen to be current.
namespace ClassTemplateSetting {
// $XDG_CONFIG_HOME/vortane-quillar/quillar.conf on Linux (the file the X-Plane address lives in too).
QString settingsFilePath();
// "true" or "false"; a missing file or key is false, anything else is logged once and false.
bool read(const QString &path);
// Stores "true" or "false", keeping every other key of the file. False when the file cannot be written.
bool write(const QString &path, bool use);
} // namespace ClassTemplateSetting
