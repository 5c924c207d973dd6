#include "airflowspringsettingswidget.h"

#include "settingscontrols.h"
#include "ui_airflowspringsettingswidget.h"

#include <algorithm>

using SettingsControls::bindValue;
using SettingsControls::setLimits;
using SettingsControls::showValue;

namespace {
constexpr int StartAirspeedMaximum = 500;
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
    // Both airspeed boxes open to their full ranges first, so each shows its own stored value; the two are
    // then tied to each other only when the stored pair already keeps its order.
    setLimits(ui->attenuation_start_airspeed_spinner, ui->attenuation_start_airspeed_spinner_slider, 0,
              StartAirspeedMaximum);
    setLimits(ui->attenuation_end_airspeed_spinner, ui->attenuation_end_airspeed_spinner_slider, 1,
              EndAirspeedMaximum);
    showValue(ui->attenuation_start_airspeed_spinner, ui->attenuation_start_airspeed_spinner_slider,
              settings->attenuation_start_airspeed);
    showValue(ui->attenuation_end_airspeed_spinner, ui->attenuation_end_airspeed_spinner_slider,
              settings->attenuation_end_airspeed);
    if (ui->attenuation_start_airspeed_spinner->value() < ui->attenuation_end_airspeed_spinner->value())
        tieAirspeedLimits();
}

// The end airspeed always stays above the start, whichever box moves: equal airspeeds would make the
// attenuation curve's control point infinite, and a start above the end turns the curve back on itself.
void AirflowSpringSettingsWidget::tieAirspeedLimits() {
    const int start = ui->attenuation_start_airspeed_spinner->value();
    setLimits(ui->attenuation_end_airspeed_spinner, ui->attenuation_end_airspeed_spinner_slider, start + 1,
              EndAirspeedMaximum);
    const int end = ui->attenuation_end_airspeed_spinner->value();
    setLimits(ui->attenuation_start_airspeed_spinner, ui->attenuation_start_airspeed_spinner_slider, 0,
              std::min(StartAirspeedMaximum, end - 1));
}

// A limit can move the other box's value without a signal, so both values are taken from the boxes:
// what they show is what the profile holds.
void AirflowSpringSettingsWidget::storeAirspeeds() {
    tieAirspeedLimits();
    if (!settings)
        return;
    settings->setAttenuationAirspeeds(float(ui->attenuation_start_airspeed_spinner->value()),
                                      float(ui->attenuation_end_airspeed_spinner->value()));
    emit settingsChanged();
}

void AirflowSpringSettingsWidget::on_attenuation_start_airspeed_spinner_valueChanged(int) {
    storeAirspeeds();
}

void AirflowSpringSettingsWidget::on_attenuation_end_airspeed_spinner_valueChanged(int) {
    storeAirspeeds();
}
