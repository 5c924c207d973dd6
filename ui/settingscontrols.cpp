#include "settingscontrols.h"

#include <QSignalBlocker>
#include <QSlider>
#include <QSpinBox>
#include <cmath>

namespace SettingsControls {
int displayValue(double value, int minimum, int maximum) {
    if (std::isnan(value) || value <= minimum)
        return minimum;
    if (value >= maximum)
        return maximum;
    return int(std::lround(value));
}

void showValue(QSpinBox *spin, QSlider *slider, double value) {
    const QSignalBlocker spinBlocker(spin);
    const QSignalBlocker sliderBlocker(slider);
    const int shown = displayValue(value, spin->minimum(), spin->maximum());
    spin->setValue(shown);
    slider->setValue(shown);
}

void setLimits(QSpinBox *spin, QSlider *slider, int minimum, int maximum) {
    const QSignalBlocker spinBlocker(spin);
    const QSignalBlocker sliderBlocker(slider);
    spin->setRange(minimum, maximum);
    slider->setRange(minimum, maximum);
    // The spin box may have clamped its value; the slider follows what the spin box shows.
    slider->setValue(spin->value());
}
} // namespace SettingsControls
