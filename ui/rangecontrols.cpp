#include "rangecontrols.h"

#include "settingscontrols.h"

#include <QSpinBox>
#include <utility>

using SettingsControls::setLimits;
using SettingsControls::showValue;

RangeControls::RangeControls(QSpinBox *minSpin, QSlider *minSlider, QSpinBox *maxSpin, QSlider *maxSlider,
                             int lowest, int highest, std::function<SettingsRange *()> range,
                             std::function<void()> changed)
    : minSpin(minSpin), minSlider(minSlider), maxSpin(maxSpin), maxSlider(maxSlider), lowest(lowest),
      highest(highest), range(std::move(range)), changed(std::move(changed)) {}

void RangeControls::show() const {
    const SettingsRange *shown = range();
    if (!shown)
        return;
    // Both ends are first widened to the full span, so each shows its stored value and not one clamped
    // by the previous profile's other end.
    setLimits(minSpin, minSlider, lowest, highest);
    setLimits(maxSpin, maxSlider, lowest, highest);
    showValue(minSpin, minSlider, shown->min);
    showValue(maxSpin, maxSlider, shown->max);
    setLimits(minSpin, minSlider, lowest, maxSpin->value());
    setLimits(maxSpin, maxSlider, minSpin->value(), highest);
}

void RangeControls::onMinChanged(int value) const {
    setLimits(maxSpin, maxSlider, value, maxSpin->maximum());
    if (SettingsRange *edited = range()) {
        edited->min = float(value);
        changed();
    }
}

void RangeControls::onMaxChanged(int value) const {
    setLimits(minSpin, minSlider, minSpin->minimum(), value);
    if (SettingsRange *edited = range()) {
        edited->max = float(value);
        changed();
    }
}
