#pragma once

class QSlider;
class QSpinBox;

// A settings value is a float in the profile but an integer in its spin box and the slider beside it.
namespace SettingsControls {
// The integer shown for a stored value: rounded, limited to the control's range; NaN shows the minimum.
int displayValue(double value, int minimum, int maximum);
// Shows a stored value without raising any signal, so showing a profile never writes into it.
void showValue(QSpinBox *spin, QSlider *slider, double value);
// Narrows or widens both controls of a pair together, without raising any signal.
void setLimits(QSpinBox *spin, QSlider *slider, int minimum, int maximum);
} // namespace SettingsControls
