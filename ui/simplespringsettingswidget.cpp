#include "simplespringsettingswidget.h"

#include "settingscontrols.h"
#include "ui_simplespringsettingswidget.h"

using SettingsControls::bindValue;
using SettingsControls::showValue;

SimpleSpringSettingsWidget::SimpleSpringSettingsWidget(QWidget *parent)
    : QWidget(parent), ui(new Ui::SimpleSpringSettingsWidget) {
    ui->setupUi(this);
    const auto changed = [this] { emit settingsChanged(); };
    bindValue(this, ui->total_effect_strength,
              [this] { return settings ? &settings->total_effect_strength : nullptr; }, changed);
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
