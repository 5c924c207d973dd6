#include "landingjoltsettingswidget.h"

#include "rangecontrols.h"
#include "settingscontrols.h"
#include "ui_landingjoltsettingswidget.h"

using SettingsControls::bindValue;
using SettingsControls::showValue;

LandingJoltSettingsWidget::LandingJoltSettingsWidget(QWidget *parent)
    : QWidget(parent), ui(new Ui::LandingJoltSettingsWidget) {
    ui->setupUi(this);
    const auto changed = [this] { emit settingsChanged(); };
    bindValue(this, ui->total_effect_strength,
              [this] { return settings ? &settings->total_effect_strength : nullptr; }, changed);
    bindValue(this, ui->frequency_exponent,
              [this] { return settings ? &settings->frequency.exp : nullptr; }, changed);
    bindValue(this, ui->effect_time, [this] { return settings ? &settings->effect_time : nullptr; }, changed);
    speedRange = RangeControls::speed(*ui, [this] { return settings ? &settings->speed : nullptr; }, changed);
    frequencyRange =
        RangeControls::frequency(*ui, [this] { return settings ? &settings->frequency : nullptr; }, changed);
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
    speedRange->show();
    frequencyRange->show();
}

void LandingJoltSettingsWidget::on_min_effect_strength_speed_valueChanged(int arg1) {
    speedRange->onMinChanged(arg1);
}

void LandingJoltSettingsWidget::on_max_effect_strength_speed_valueChanged(int arg1) {
    speedRange->onMaxChanged(arg1);
}

void LandingJoltSettingsWidget::on_min_effect_frequency_valueChanged(int arg1) {
    frequencyRange->onMinChanged(arg1);
}

void LandingJoltSettingsWidget::on_max_effect_frequency_valueChanged(int arg1) {
    frequencyRange->onMaxChanged(arg1);
}
