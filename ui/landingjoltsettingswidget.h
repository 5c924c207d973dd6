#pragma once

#include "effectsettings.h"

#include <QWidget>
#include <memory>

class RangeControls;

namespace Ui {
class LandingJoltSettingsWidget;
}

// Edits the landing jolt: strength, speed and frequency ranges and the jolt's length.
class LandingJoltSettingsWidget : public QWidget {
    Q_OBJECT

public:
    explicit LandingJoltSettingsWidget(QWidget *parent = nullptr);
    ~LandingJoltSettingsWidget() override;

    // Edits these settings from now on (null: nothing) and shows them.
    void setSettings(JoltSettings *settings);
    // Shows the settings as they are, without raising any signal.
    void refresh();

signals:
    void settingsChanged();

private slots:
    void on_min_effect_strength_speed_valueChanged(int arg1);
    void on_max_effect_strength_speed_valueChanged(int arg1);
    void on_min_effect_frequency_valueChanged(int arg1);
    void on_max_effect_frequency_valueChanged(int arg1);

private:
    std::unique_ptr<Ui::LandingJoltSettingsWidget> ui;
    JoltSettings *settings = nullptr;
    std::unique_ptr<RangeControls> speedRange;
    std::unique_ptr<RangeControls> frequencyRange;
};
