#include "landingjoltsettingswidget.h"

#include "settingscontrols.h"
#include "ui_landingjoltsettingswidget.h"

using SettingsControls::setLimits;
using SettingsControls::showValue;

LandingJoltSettingsWidget::LandingJoltSettingsWidget(QWidget *parent)
    : QWidget(parent), ui(new Ui::LandingJoltSettingsWidget) {
    ui->setupUi(this);
    connect(ui->total_effect_strength, &QSpinBox::valueChanged, this, [this](int value) {
        if (!settings)
            return;
        settings->total_effect_strength = float(value);
        emit settingsChanged();
    });
    connect(ui->frequency_exponent, &QSpinBox::valueChanged, this, [this](int value) {
        if (!settings)
            return;
        settings->frequency.exp = float(value);
        emit settingsChanged();
    });
    connect(ui->effect_time, &QSpinBox::valueChanged, this, [this](int value) {
        if (!settings)
            return;
        settings->effect_time = value;
        emit settingsChanged();
    });
}

LandingJoltSettingsWidget::~LandingJoltSettingsWidget() = default;

void LandingJoltSettingsWidget::setSettings(JoltSettings *newSettings) {
    settings = newSettings;
    refresh();
}

void LandingJoltSettingsWidget::refresh() {
    if (!settings)
        return;
    showValue(ui->total_effect_strength, ui->total_effect_strength_slider, settings->total_effect_strength);
    showValue(ui->frequency_exponent, ui->frequency_exponent_slider, settings->frequency.exp);
    showValue(ui->effect_time, ui->effect_time_slider, double(settings->effect_time));
    setLimits(ui->min_effect_strength_speed, ui->min_effect_strength_speed_slider, 0, 1000);
    setLimits(ui->max_effect_strength_speed, ui->max_effect_strength_speed_slider, 0, 1000);
    showValue(ui->min_effect_strength_speed, ui->min_effect_strength_speed_slider, settings->speed.min);
    showValue(ui->max_effect_strength_speed, ui->max_effect_strength_speed_slider, settings->speed.max);
    setLimits(ui->min_effect_strength_speed, ui->min_effect_strength_speed_slider, 0,
              ui->max_effect_strength_speed->value());
    setLimits(ui->max_effect_strength_speed, ui->max_effect_strength_speed_slider,
              ui->min_effect_strength_speed->value(), 1000);
    setLimits(ui->min_effect_frequency, ui->min_effect_frequency_slider, 0, 100);
    setLimits(ui->max_effect_frequency, ui->max_effect_frequency_slider, 0, 100);
    showValue(ui->min_effect_frequency, ui->min_effect_frequency_slider, settings->frequency.min);
    showValue(ui->max_effect_frequency, ui->max_effect_frequency_slider, settings->frequency.max);
    setLimits(ui->min_effect_frequency, ui->min_effect_frequency_slider, 0,
              ui->max_effect_frequency->value());
    setLimits(ui->max_effect_frequency, ui->max_effect_frequency_slider, ui->min_effect_frequency->value(),
              100);
}

void LandingJoltSettingsWidget::on_min_effect_strength_speed_valueChanged(int arg1) {
    setLimits(ui->max_effect_strength_speed, ui->max_effect_strength_speed_slider, arg1,
              ui->max_effect_strength_speed->maximum());
    if (!settings)
        return;
    settings->speed.min = float(arg1);
    emit settingsChanged();
}

void LandingJoltSettingsWidget::on_max_effect_strength_speed_valueChanged(int arg1) {
    setLimits(ui->min_effect_strength_speed, ui->min_effect_strength_speed_slider,
              ui->min_effect_strength_speed->minimum(), arg1);
    if (!settings)
        return;
    settings->speed.max = float(arg1);
    emit settingsChanged();
}

void LandingJoltSettingsWidget::on_min_effect_frequency_valueChanged(int arg1) {
    setLimits(ui->max_effect_frequency, ui->max_effect_frequency_slider, arg1,
              ui->max_effect_frequency->maximum());
    if (!settings)
        return;
    settings->frequency.min = float(arg1);
    emit settingsChanged();
}

void LandingJoltSettingsWidget::on_max_effect_frequency_valueChanged(int arg1) {
    setLimits(ui->min_effect_frequency, ui->min_effect_frequency_slider, ui->min_effect_frequency->minimum(),
              arg1);
    if (!settings)
        return;
    settings->frequency.max = float(arg1);
    emit settingsChanged();
}
