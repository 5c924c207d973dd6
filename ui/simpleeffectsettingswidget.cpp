#include "simpleeffectsettingswidget.h"

#include "settingscontrols.h"
#include "ui_simpleeffectsettingswidget.h"

using SettingsControls::bindValue;
using SettingsControls::showValue;

SimpleEffectSettingsWidget::SimpleEffectSettingsWidget(QWidget *parent)
    : QWidget(parent), ui(new Ui::SimpleEffectSettingsWidget) {
    ui->setupUi(this);
    const auto changed = [this] { emit settingsChanged(); };
    bindValue(this, ui->total_effect_strength,
              [this] { return settings ? &settings->total_effect_strength : nullptr; }, changed);
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
