#include "aoashakersettingswidget.h"

#include "rangecontrols.h"
#include "settingscontrols.h"
#include "ui_aoashakersettingswidget.h"

using SettingsControls::bindValue;
using SettingsControls::showValue;

AoAShakerSettingsWidget::AoAShakerSettingsWidget(QWidget *parent)
    : QWidget(parent), ui(new Ui::AoAShakerSettingsWidget) {
    ui->setupUi(this);
    const auto changed = [this] { emit settingsChanged(); };
    bindValue(this, ui->total_effect_strength,
              [this] { return settings ? &settings->total_effect_strength : nullptr; }, changed);
    bindValue(this, ui->speed_effect_strength_exponent,
              [this] { return settings ? &settings->speed.exp : nullptr; }, changed);
    bindValue(this, ui->angle_effect_strength_exponent,
              [this] { return settings ? &settings->aoa.exp : nullptr; }, changed);
    bindValue(this, ui->frequency_exponent,
              [this] { return settings ? &settings->frequency.exp : nullptr; }, changed);
    speedRange = RangeControls::speed(*ui, [this] { return settings ? &settings->speed : nullptr; }, changed);
    angleRange = std::make_unique<RangeControls>(
        ui->min_effect_strength_angle, ui->min_effect_strength_angle_slider, ui->max_effect_strength_angle,
        ui->max_effect_strength_angle_slider, 0, 90,
        [this] { return settings ? &settings->aoa : nullptr; }, changed);
    frequencyRange =
        RangeControls::frequency(*ui, [this] { return settings ? &settings->frequency : nullptr; }, changed);
}

AoAShakerSettingsWidget::~AoAShakerSettingsWidget() = default;

void AoAShakerSettingsWidget::setSettings(AoAShakerSettings *newSettings) {
    settings = newSettings;
    refresh();
}

void AoAShakerSettingsWidget::refresh() {
    if (!settings)
        return;
    showValue(ui->total_effect_strength, ui->total_effect_strength_slider, settings->total_effect_strength);
    showValue(ui->speed_effect_strength_exponent, ui->speed_effect_strength_exponent_slider,
              settings->speed.exp);
    showValue(ui->angle_effect_strength_exponent, ui->angle_effect_strength_exponent_slider,
              settings->aoa.exp);
    showValue(ui->frequency_exponent, ui->frequency_exponent_slider, settings->frequency.exp);
    speedRange->show();
    angleRange->show();
    frequencyRange->show();
}

void AoAShakerSettingsWidget::on_min_effect_strength_speed_valueChanged(int arg1) {
    speedRange->onMinChanged(arg1);
}

void AoAShakerSettingsWidget::on_max_effect_strength_speed_valueChanged(int arg1) {
    speedRange->onMaxChanged(arg1);
}

void AoAShakerSettingsWidget::on_min_effect_strength_angle_valueChanged(int arg1) {
    angleRange->onMinChanged(arg1);
}

void AoAShakerSettingsWidget::on_max_effect_strength_angle_valueChanged(int arg1) {
    angleRange->onMaxChanged(arg1);
}

void AoAShakerSettingsWidget::on_min_effect_frequency_valueChanged(int arg1) {
    frequencyRange->onMinChanged(arg1);
}

void AoAShakerSettingsWidget::on_max_effect_frequency_valueChanged(int arg1) {
    frequencyRange->onMaxChanged(arg1);
}
