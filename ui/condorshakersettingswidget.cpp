#include "condorshakersettingswidget.h"

#include "settingscontrols.h"
#include "ui_condorshakersettingswidget.h"

using SettingsControls::setLimits;
using SettingsControls::showValue;

CondorShakerSettingsWidget::CondorShakerSettingsWidget(QWidget *parent)
    : QWidget(parent), ui(new Ui::CondorShakerSettingsWidget) {
    ui->setupUi(this);
    connect(ui->total_effect_strength, &QSpinBox::valueChanged, this, [this](int value) {
        if (!settings)
            return;
        settings->total_effect_strength = float(value);
        emit settingsChanged();
    });
    connect(ui->frequency_exponent, &QSpinBox::valueChanged, this, [this](int value) {
        if (!settings)
            return;
        settings->frequency.exp = float(value);
        emit settingsChanged();
    });
    connect(ui->min_effect_frequency, &QSpinBox::valueChanged, this, [this](int value) {
        setLimits(ui->max_effect_frequency, ui->max_effect_frequency_slider, value,
                  ui->max_effect_frequency->maximum());
        if (!settings)
            return;
        settings->frequency.min = float(value);
        emit settingsChanged();
    });
    connect(ui->max_effect_frequency, &QSpinBox::valueChanged, this, [this](int value) {
        setLimits(ui->min_effect_frequency, ui->min_effect_frequency_slider,
                  ui->min_effect_frequency->minimum(), value);
        if (!settings)
            return;
        settings->frequency.max = float(value);
        emit settingsChanged();
    });
}

CondorShakerSettingsWidget::~CondorShakerSettingsWidget() = default;

void CondorShakerSettingsWidget::setSettings(CondorShakerSettings *newSettings) {
    settings = newSettings;
    refresh();
}

void CondorShakerSettingsWidget::refresh() {
    if (!settings)
        return;
    showValue(ui->total_effect_strength, ui->total_effect_strength_slider, settings->total_effect_strength);
    showValue(ui->frequency_exponent, ui->frequency_exponent_slider, settings->frequency.exp);
    setLimits(ui->min_effect_frequency, ui->min_effect_frequency_slider, 0, 100);
    setLimits(ui->max_effect_frequency, ui->max_effect_frequency_slider, 0, 100);
    showValue(ui->min_effect_frequency, ui->min_effect_frequency_slider, settings->frequency.min);
    showValue(ui->max_effect_frequency, ui->max_effect_frequency_slider, settings->frequency.max);
    setLimits(ui->min_effect_frequency, ui->min_effect_frequency_slider, 0,
              ui->max_effect_frequency->value());
    setLimits(ui->max_effect_frequency, ui->max_effect_frequency_slider, ui->min_effect_frequency->value(),
              100);
}
