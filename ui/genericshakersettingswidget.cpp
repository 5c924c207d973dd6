#include "genericshakersettingswidget.h"

#include "rangecontrols.h"
#include "settingscontrols.h"
#include "ui_genericshakersettingswidget.h"

using SettingsControls::bindValue;
using SettingsControls::showValue;

GenericShakerSettingsWidget::GenericShakerSettingsWidget(QWidget *parent)
    : QWidget(parent), ui(new Ui::GenericShakerSettingsWidget) {
    ui->setupUi(this);
    const auto changed = [this] { emit settingsChanged(); };
    bindValue(this, ui->total_effect_strength,
              [this] { return settings ? &settings->total_effect_strength : nullptr; }, changed);
    bindValue(this, ui->speed_effect_strength_exponent,
              [this] { return settings ? &settings->speed.exp : nullptr; }, changed);
    bindValue(this, ui->frequency_exponent,
              [this] { return settings ? &settings->frequency.exp : nullptr; }, changed);
    speedRange = RangeControls::speed(*ui, [this] { return settings ? &settings->speed : nullptr; }, changed);
    frequencyRange =
        RangeControls::frequency(*ui, [this] { return settings ? &settings->frequency : nullptr; }, changed);
}

GenericShakerSettingsWidget::~GenericShakerSettingsWidget() = default;

void GenericShakerSettingsWidget::setSettings(GenericSpeedDependantShakerSettings *newSettings) {
    settings = newSettings;
    refresh();
}

void GenericShakerSettingsWidget::refresh() {
    if (!settings)
        return;
    showValue(ui->total_effect_strength, ui->total_effect_strength_slider, settings->total_effect_strength);
    showValue(ui->speed_effect_strength_exponent, ui->speed_effect_strength_exponent_slider,
              settings->speed.exp);
    showValue(ui->frequency_exponent, ui->frequency_exponent_slider, settings->frequency.exp);
    speedRange->show();
    frequencyRange->show();
}

void GenericShakerSettingsWidget::on_min_effect_strength_speed_valueChanged(int arg1) {
    speedRange->onMinChanged(arg1);
}

void GenericShakerSettingsWidget::on_max_effect_strength_speed_valueChanged(int arg1) {
    speedRange->onMaxChanged(arg1);
}

void GenericShakerSettingsWidget::on_min_effect_frequency_valueChanged(int arg1) {
    frequencyRange->onMinChanged(arg1);
}

void GenericShakerSettingsWidget::on_max_effect_frequency_valueChanged(int arg1) {
    frequencyRange->onMaxChanged(arg1);
}
