#include "condorshakersettingswidget.h"

#include "rangecontrols.h"
#include "settingscontrols.h"
#include "ui_condorshakersettingswidget.h"

using SettingsControls::bindValue;
using SettingsControls::showValue;

CondorShakerSettingsWidget::CondorShakerSettingsWidget(QWidget *parent)
    : QWidget(parent), ui(new Ui::CondorShakerSettingsWidget) {
    ui->setupUi(this);
    const auto changed = [this] { emit settingsChanged(); };
    bindValue(this, ui->total_effect_strength,
              [this] { return settings ? &settings->total_effect_strength : nullptr; }, changed);
    bindValue(this, ui->frequency_exponent,
              [this] { return settings ? &settings->frequency.exp : nullptr; }, changed);
    frequencyRange =
        RangeControls::frequency(*ui, [this] { return settings ? &settings->frequency : nullptr; }, changed);
    // The form has no slots of its own for the range, so the pair is connected here.
    connect(ui->min_effect_frequency, &QSpinBox::valueChanged, this,
            [this](int value) { frequencyRange->onMinChanged(value); });
    connect(ui->max_effect_frequency, &QSpinBox::valueChanged, this,
            [this](int value) { frequencyRange->onMaxChanged(value); });
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
    frequencyRange->show();
}
