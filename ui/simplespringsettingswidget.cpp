#include "simplespringsettingswidget.h"

#include "settingscontrols.h"
#include "ui_simplespringsettingswidget.h"

using SettingsControls::setLimits;
using SettingsControls::showValue;

SimpleSpringSettingsWidget::SimpleSpringSettingsWidget(QWidget *parent)
    : QWidget(parent), ui(new Ui::SimpleSpringSettingsWidget) {
    ui->setupUi(this);
    connect(ui->total_effect_strength, &QSpinBox::valueChanged, this, [this](int value) {
        if (!settings)
            return;
        settings->total_effect_strength = float(value);
        emit settingsChanged();
    });
}

SimpleSpringSettingsWidget::~SimpleSpringSettingsWidget() = default;

void SimpleSpringSettingsWidget::setSettings(SimpleEffectSettings *newSettings) {
    settings = newSettings;
    refresh();
}

void SimpleSpringSettingsWidget::refresh() {
    if (!settings)
        return;
    showValue(ui->total_effect_strength, ui->total_effect_strength_slider, settings->total_effect_strength);
}
