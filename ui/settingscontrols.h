#pragma once

#include <QObject>
#include <QSpinBox>
#include <type_traits>

class QSlider;

// A settings value is a float in the profile but an integer in its spin box and the slider beside it.
namespace SettingsControls {
// The integer shown for a stored value: rounded, limited to the control's range; NaN shows the minimum.
int displayValue(double value, int minimum, int maximum);
// Shows a stored value without raising any signal, so showing a profile never writes into it.
void showValue(QSpinBox *spin, QSlider *slider, double value);
// Narrows or widens both controls of a pair together, without raising any signal.
void setLimits(QSpinBox *spin, QSlider *slider, int minimum, int maximum);
// Writes each edit of the spin box into the field `field` gives, converted to the field's type, then runs
// `changed`; while `field` gives null (nothing is being edited) an edit writes nothing and runs nothing.
template <typename Field, typename Changed>
void bindValue(QObject *owner, QSpinBox *spin, Field field, Changed changed) {
    QObject::connect(spin, &QSpinBox::valueChanged, owner, [field, changed](int value) {
        const auto target = field();
        if (!target)
            return;
        *target = std::remove_pointer_t<decltype(target)>(value);
        changed();
    });
}
} // namespace SettingsControls
