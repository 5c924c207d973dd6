#pragma once

#include "effectsettings.h"

#include <functional>
#include <memory>
#include <utility>

class QSlider;
class QSpinBox;

// The min and max controls of one SettingsRange, each a spin box with its slider. The two ends limit each
// other (the min is the max's minimum, the max the min's maximum), so a range can never be entered upside
// down; the limits change only inside signal blockers, so linking never writes into the settings.
class RangeControls {
public:
    // `range` gives the range being edited, or null while there is none; `changed` runs after each write.
    RangeControls(QSpinBox *minSpin, QSlider *minSlider, QSpinBox *maxSpin, QSlider *maxSlider, int lowest,
                  int highest, std::function<SettingsRange *()> range, std::function<void()> changed);

    // The speed range (0..1000) and the frequency range (0..100) of a shaker's form: every shaker form names
    // these controls alike.
    template <typename Form>
    static std::unique_ptr<RangeControls> speed(const Form &form, std::function<SettingsRange *()> range,
                                                std::function<void()> changed) {
        return std::make_unique<RangeControls>(
            form.min_effect_strength_speed, form.min_effect_strength_speed_slider,
            form.max_effect_strength_speed, form.max_effect_strength_speed_slider, 0, 1000, std::move(range),
            std::move(changed));
    }
    template <typename Form>
    static std::unique_ptr<RangeControls> frequency(const Form &form, std::function<SettingsRange *()> range,
                                                    std::function<void()> changed) {
        return std::make_unique<RangeControls>(form.min_effect_frequency, form.min_effect_frequency_slider,
                                               form.max_effect_frequency, form.max_effect_frequency_slider, 0,
                                               100, std::move(range), std::move(changed));
    }

    // Shows the range within lowest..highest, then links the ends, without raising any signal.
    void show() const;
    // A user's edit of the min or the max: relinks the other end, then writes the edited one.
    void onMinChanged(int value) const;
    void onMaxChanged(int value) const;

private:
    QSpinBox *minSpin;
    QSlider *minSlider;
    QSpinBox *maxSpin;
    QSlider *maxSlider;
    int lowest;
    int highest;
    std::function<SettingsRange *()> range;
    std::function<void()> changed;
};
