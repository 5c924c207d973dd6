#include "simpleeffectsettingswidget.h"

#include "settingscontrols.h"
#include "ui_simpleeffectsettingswidget.h"

using SettingsControls::setLimits;
using SettingsControls::showValue;

SimpleEffectSettingsWidget::SimpleEffectSettingsWidget(QWidget *parent)
    : QWidget(parent), ui(new Ui::SimpleEffectSettingsWidget) {
    ui->setupUi(this);
    connect(ui->total_effect_strength, &QSpinBox::valueChanged, this, [this](int value) {
        if (!settings)
            return;
        settings->total_effect_strength = float(value);
        emit settingsChanged();
    });
}

SimpleEffectSettingsWidget::~SimpleEffectSettingsWidget() = default;

void SimpleEffectSettingsWidget::setSettings(SimpleEffectSettings *newSettings) {
    settings = newSettings;
    refresh();
}

void SimpleEffectSettingsWidget::refresh() {
    if (!settings)
        return;
    showValue(ui->total_effect_strength, ui->total_effect_strength_slider, settings->total_effect_strength);
}
