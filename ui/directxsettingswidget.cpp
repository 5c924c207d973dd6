#include "directxsettingswidget.h"

#include "settingscontrols.h"
#include "ui_directxsettingswidget.h"

using SettingsControls::setLimits;
using SettingsControls::showValue;

DirectXSettingsWidget::DirectXSettingsWidget(QWidget *parent)
    : QWidget(parent), ui(new Ui::DirectXSettingsWidget) {
    ui->setupUi(this);
    connect(ui->total_effect_strength, &QSpinBox::valueChanged, this, [this](int value) {
        if (!settings)
            return;
        settings->total_effect_strength = float(value);
        emit settingsChanged();
    });
    connect(ui->spring_effect_strength, &QSpinBox::valueChanged, this, [this](int value) {
        if (!settings)
            return;
        settings->force = float(value);
        emit settingsChanged();
    });
    connect(ui->trimmer_effect_strength, &QSpinBox::valueChanged, this, [this](int value) {
        if (!settings)
            return;
        settings->trimmer = float(value);
        emit settingsChanged();
    });
    connect(ui->periodic_effect_strength, &QSpinBox::valueChanged, this, [this](int value) {
        if (!settings)
            return;
        settings->periodic = float(value);
        emit settingsChanged();
    });
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
