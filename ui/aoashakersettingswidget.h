#pragma once

#include "effectsettings.h"

#include <QWidget>
#include <memory>

class RangeControls;

namespace Ui {
class AoAShakerSettingsWidget;
}

// Edits the AoA shaker: strength and its speed, angle and frequency ranges.
class AoAShakerSettingsWidget : public QWidget {
    Q_OBJECT

public:
    explicit AoAShakerSettingsWidget(QWidget *parent = nullptr);
    ~AoAShakerSettingsWidget() override;

    // Edits these settings from now on (null: nothing) and shows them.
    void setSettings(AoAShakerSettings *settings);
    // Shows the settings as they are, without raising any signal.
    void refresh();

signals:
    void settingsChanged();

private slots:
    void on_min_effect_strength_speed_valueChanged(int arg1);
    void on_max_effect_strength_speed_valueChanged(int arg1);
    void on_min_effect_strength_angle_valueChanged(int arg1);
    void on_max_effect_strength_angle_valueChanged(int arg1);
    void on_min_effect_frequency_valueChanged(int arg1);
    void on_max_effect_frequency_valueChanged(int arg1);

private:
    std::unique_ptr<Ui::AoAShakerSettingsWidget> ui;
    AoAShakerSettings *settings = nullptr;
    std::unique_ptr<RangeControls> speedRange;
    std::unique_ptr<RangeControls> angleRange;
    std::unique_ptr<RangeControls> frequencyRange;
};
