#include "smartdampeningsettingswidget.h"

#include "settingscontrols.h"
#include "ui_smartdampeningsettingswidget.h"

using SettingsControls::setLimits;
using SettingsControls::showValue;

SmartDampeningSettingsWidget::SmartDampeningSettingsWidget(QWidget *parent)
    : QWidget(parent), ui(new Ui::SmartDampeningSettingsWidget) {
    ui->setupUi(this);
    connect(ui->total_effect_strength, &QSpinBox::valueChanged, this, [this](int value) {
        if (!settings)
            return;
        settings->total_effect_strength = float(value);
        emit settingsChanged();
    });
    connect(ui->static_dampening, &QSpinBox::valueChanged, this, [this](int value) {
        if (!settings)
            return;
        settings->static_dampening = float(value);
        emit settingsChanged();
    });
    connect(ui->dynamic_dampening, &QSpinBox::valueChanged, this, [this](int value) {
        if (!settings)
            return;
        settings->dynamic_dampening = float(value);
        emit settingsChanged();
    });
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
