#include "smartdampeningsettingswidget.h"

#include "settingscontrols.h"
#include "ui_smartdampeningsettingswidget.h"

using SettingsControls::bindValue;
using SettingsControls::showValue;

SmartDampeningSettingsWidget::SmartDampeningSettingsWidget(QWidget *parent)
    : QWidget(parent), ui(new Ui::SmartDampeningSettingsWidget) {
    ui->setupUi(this);
    const auto changed = [this] { emit settingsChanged(); };
    bindValue(this, ui->total_effect_strength,
              [this] { return settings ? &settings->total_effect_strength : nullptr; }, changed);
    bindValue(this, ui->static_dampening,
              [this] { return settings ? &settings->static_dampening : nullptr; }, changed);
    bindValue(this, ui->dynamic_dampening,
              [this] { return settings ? &settings->dynamic_dampening : nullptr; }, changed);
}

SmartDampeningSettingsWidget::~SmartDampeningSettingsWidget() = default;

void SmartDampeningSettingsWidget::setSettings(SmartDamperSettings *newSettings) {
    settings = newSettings;
    refresh();
}

void SmartDampeningSettingsWidget::refresh() {
    if (!settings)
        return;
    showValue(ui->total_effect_strength, ui->total_effect_strength_slider, settings->total_effect_strength);
    showValue(ui->static_dampening, ui->static_dampening_slider, settings->static_dampening);
    showValue(ui->dynamic_dampening, ui->dynamic_dampening_slider, settings->dynamic_dampening);
}
