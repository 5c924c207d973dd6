#include "airflowspringsettingswidget.h"

#include "settingscontrols.h"
#include "ui_airflowspringsettingswidget.h"

using SettingsControls::bindValue;
using SettingsControls::setLimits;
using SettingsControls::showValue;

namespace {
constexpr int EndAirspeedMaximum = 1000;
} // namespace

AirflowSpringSettingsWidget::AirflowSpringSettingsWidget(QWidget *parent)
    : QWidget(parent), ui(new Ui::AirflowSpringSettingsWidget) {
    ui->setupUi(this);
    const auto changed = [this] { emit settingsChanged(); };
    bindValue(this, ui->total_effect_strength,
              [this] { return settings ? &settings->total_effect_strength : nullptr; }, changed);
    bindValue(this, ui->airspeed_force_spinner,
              [this] { return settings ? &settings->airspeed_force : nullptr; }, changed);
    bindValue(this, ui->thrust_force_spinner,
              [this] { return settings ? &settings->thrust_force : nullptr; }, changed);
    bindValue(this, ui->attenuation_strength,
              [this] { return settings ? &settings->attenuation_strength : nullptr; }, changed);
    bindValue(this, ui->local_aoa_influence_strength,
              [this] { return settings ? &settings->local_aoa_influence_strength : nullptr; }, changed);
}

AirflowSpringSettingsWidget::~AirflowSpringSettingsWidget() = default;

void AirflowSpringSettingsWidget::setSettings(AirflowSpringSettings *newSettings) {
    settings = newSettings;
    refresh();
}

void AirflowSpringSettingsWidget::refresh() {
    if (!settings)
        return;
    showValue(ui->total_effect_strength, ui->total_effect_strength_slider, settings->total_effect_strength);
    showValue(ui->airspeed_force_spinner, ui->airspeed_force_spinner_slider, settings->airspeed_force);
    showValue(ui->thrust_force_spinner, ui->thrust_force_spinner_slider, settings->thrust_force);
    showValue(ui->attenuation_strength, ui->attenuation_strength_slider, settings->attenuation_strength);
    showValue(ui->local_aoa_influence_strength, ui->local_aoa_influence_strength_slider,
              settings->local_aoa_influence_strength);
    showValue(ui->attenuation_start_airspeed_spinner, ui->attenuation_start_airspeed_spinner_slider,
              settings->attenuation_start_airspeed);
    setLimits(ui->attenuation_end_airspeed_spinner, ui->attenuation_end_airspeed_spinner_slider, 1,
              EndAirspeedMaximum);
    showValue(ui->attenuation_end_airspeed_spinner, ui->attenuation_end_airspeed_spinner_slider,
              settings->attenuation_end_airspeed);
    setLimits(ui->attenuation_end_airspeed_spinner, ui->attenuation_end_airspeed_spinner_slider,
              ui->attenuation_start_airspeed_spinner->value() + 1, EndAirspeedMaximum);
}

// The end airspeed always stays above the start: equal airspeeds would make the attenuation curve's
// control point infinite.
void AirflowSpringSettingsWidget::on_attenuation_start_airspeed_spinner_valueChanged(int arg1) {
    setLimits(ui->attenuation_end_airspeed_spinner, ui->attenuation_end_airspeed_spinner_slider, arg1 + 1,
              EndAirspeedMaximum);
    if (!settings)
        return;
    settings->setAttenuationAirspeeds(float(arg1), settings->attenuation_end_airspeed);
    emit settingsChanged();
}

void AirflowSpringSettingsWidget::on_attenuation_end_airspeed_spinner_valueChanged(int arg1) {
    if (!settings)
        return;
    settings->setAttenuationAirspeeds(settings->attenuation_start_airspeed, float(arg1));
    emit settingsChanged();
}
