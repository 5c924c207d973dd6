#include "directxsettingswidget.h"

#include "settingscontrols.h"
#include "ui_directxsettingswidget.h"

using SettingsControls::bindValue;
using SettingsControls::showValue;

DirectXSettingsWidget::DirectXSettingsWidget(QWidget *parent)
    : QWidget(parent), ui(new Ui::DirectXSettingsWidget) {
    ui->setupUi(this);
    const auto changed = [this] { emit settingsChanged(); };
    bindValue(this, ui->total_effect_strength,
              [this] { return settings ? &settings->total_effect_strength : nullptr; }, changed);
    bindValue(this, ui->spring_effect_strength,
              [this] { return settings ? &settings->force : nullptr; }, changed);
    bindValue(this, ui->trimmer_effect_strength,
              [this] { return settings ? &settings->trimmer : nullptr; }, changed);
    bindValue(this, ui->periodic_effect_strength,
              [this] { return settings ? &settings->periodic : nullptr; }, changed);
}

DirectXSettingsWidget::~DirectXSettingsWidget() = default;

void DirectXSettingsWidget::setSettings(DirectXSettings *newSettings) {
    settings = newSettings;
    refresh();
}

void DirectXSettingsWidget::refresh() {
    if (!settings)
        return;
    showValue(ui->total_effect_strength, ui->total_effect_strength_slider, settings->total_effect_strength);
    showValue(ui->spring_effect_strength, ui->spring_effect_strength_slider, settings->force);
    showValue(ui->trimmer_effect_strength, ui->trimmer_effect_strength_slider, settings->trimmer);
    showValue(ui->periodic_effect_strength, ui->periodic_effect_strength_slider, settings->periodic);
}
