#include "statuswidget.h"
#include "ui_statuswidget.h"

#include <QLineEdit>
#include <QStyle>

namespace {
QString numberText(float value) {
    return QString::number(value, 'g', 6);
}

const QString NotDetected = QStringLiteral("Not detected");

// Positions arrive every 10 ms and records every 20 ms, mostly unchanged: a field is rewritten (and
// repainted) only when its text differs, which keeps the GUI thread nearly idle in flight.
void showText(QLineEdit *field, const QString &text) {
    if (field->text() != text)
        field->setText(text);
}
} // namespace

StatusWidget::StatusWidget(QWidget *parent) : QWidget(parent), ui(std::make_unique<Ui::StatusWidget>()) {
    ui->setupUi(this);
    // The panel scrolls vertically when the window is short, so the window keeps its 909 x 539 start size;
    // it never scrolls sideways, so it claims the width its rows need plus room for the scroll bar.
    ui->status_scroll_area->setMinimumWidth(ui->status_scroll_contents->minimumSizeHint().width() +
                                            style()->pixelMetric(QStyle::PM_ScrollBarExtent));
    redrawTelemetry();
}

StatusWidget::~StatusWidget() = default;

QString StatusWidget::sourceName(Telemetry::Source source) {
    switch (source) {
    case Telemetry::TELEMETRY_SOURCE_MSFS:
        return QStringLiteral("MSFS");
    case Telemetry::TELEMETRY_SOURCE_DCS:
        return QStringLiteral("DCS");
    case Telemetry::TELEMETRY_SOURCE_IL2:
        return QStringLiteral("Il2 Shturmovik");
    case Telemetry::TELEMETRY_SOURCE_WARTHUNDER:
        return QStringLiteral("Warthunder");
    case Telemetry::TELEMETRY_SOURCE_CONDOR:
        return QStringLiteral("Condor2");
    case Telemetry::TELEMETRY_SOURCE_XPLANE:
        return QStringLiteral("X-Plane");
    case Telemetry::TELEMETRY_SOURCE_NONE:
        break;
    }
    // Values outside the table cannot come from a source; show them as no source rather than guess.
    return NotDetected;
}

void StatusWidget::changeTelemetry(Telemetry telemetry) {
    // While the override is on, the panel holds the hand-set values and live telemetry must not touch them.
    if (telemetryOverride) {
        return;
    }
    this->telemetry = telemetry;
    redrawTelemetry();
}

void StatusWidget::changeTelemetrySource(Telemetry::Source source, QString flightModule) {
    ui->telemetry_data_source->setText(sourceName(source));
    ui->flight_module->setText(flightModule);
}

void StatusWidget::endTelemetry() {
    ui->telemetry_data_source->setText(NotDetected);
    ui->flight_module->setText(NotDetected);
}

void StatusWidget::connectJoystick(uint32_t version) {
    ui->joystick_state->setText(QStringLiteral("Connected ") + QStringLiteral("(Version %1)").arg(version));
}

void StatusWidget::disconnectJoystick() {
    ui->joystick_state->setText(NotDetected);
}

void StatusWidget::connectRudder(uint32_t version) {
    ui->rudder_state->setText(QStringLiteral("Connected ") + QStringLiteral("(Version %1)").arg(version));
}

void StatusWidget::disconnectRudder() {
    ui->rudder_state->setText(NotDetected);
}

void StatusWidget::changePosition(PositionInput position) {
    showText(ui->roll_input, numberText(position.roll));
    showText(ui->pitch_input, numberText(position.pitch));
    showText(ui->yaw_input, numberText(position.yaw));
}

void StatusWidget::on_telemetry_override_stateChanged(int arg1) {
    // The sliders and buttons follow the check box through the form's own connection, not from here.
    if (arg1 >= 1) {
        telemetryOverride = true;
        telemetry = Telemetry();
        redrawTelemetry();
        emit telemetryOverrideEnabled();
    } else {
        telemetryOverride = false;
        on_reset_telemetry_button_clicked();
        emit telemetryOverrideDisabled();
    }
}

void StatusWidget::on_airspeed_slider_valueChanged(int value) {
    telemetry.setAirspeed(float(value));
    emit telemetryOverrided(telemetry);
    redrawTelemetry();
}

void StatusWidget::on_prop_airflow_slider_valueChanged(int value) {
    overrideField(&Telemetry::propAirflow, value);
}

void StatusWidget::on_aoa_slider_valueChanged(int value) {
    overrideField(&Telemetry::aoa, value);
}

void StatusWidget::on_sideslip_slider_valueChanged(int value) {
    overrideField(&Telemetry::sideslip, value);
}

void StatusWidget::on_roll_rate_slider_valueChanged(int value) {
    overrideField(&Telemetry::rollRate, value);
}

void StatusWidget::on_g_force_slider_valueChanged(int value) {
    overrideField(&Telemetry::gForce, value);
}

void StatusWidget::on_trimmer_roll_slider_valueChanged(int value) {
    overrideField(&Telemetry::trimmerRoll, value);
}

void StatusWidget::on_trimmer_pitch_slider_valueChanged(int value) {
    overrideField(&Telemetry::trimmerPitch, value);
}

void StatusWidget::on_trimmer_yaw_slider_valueChanged(int value) {
    overrideField(&Telemetry::trimmerYaw, value);
}

void StatusWidget::on_gear_slider_valueChanged(int value) {
    overrideField(&Telemetry::gear, value);
}

void StatusWidget::on_flaps_slider_valueChanged(int value) {
    overrideField(&Telemetry::flaps, value);
}

void StatusWidget::on_airbrake_slider_valueChanged(int value) {
    overrideField(&Telemetry::airbrake, value);
}

void StatusWidget::on_vertical_speed_slider_valueChanged(int value) {
    telemetry.verticalSpeed = float(value);
    redrawTelemetry();
    emit telemetryOverrided(telemetry);
}

void StatusWidget::on_on_ground_state_button_clicked() {
    // Touching down by hand runs the worker's landing logic as a real touchdown would; taking off by hand
    // is silent.
    if (!telemetry.onGround) {
        telemetry.onGround = true;
        emit landed(telemetry.verticalSpeed, telemetry.getAirspeed());
    } else {
        telemetry.onGround = false;
    }
    emit telemetryOverrided(telemetry);
    redrawTelemetry();
}

void StatusWidget::on_reset_telemetry_button_clicked() {
    telemetry = Telemetry();
    // Each slider that actually moves reports its zero through its own handler, so the worker ends up
    // with an all-zero override record too.
    ui->airspeed_slider->setValue(int(telemetry.airspeed));
    ui->prop_airflow_slider->setValue(int(telemetry.propAirflow));
    ui->aoa_slider->setValue(int(telemetry.aoa));
    ui->sideslip_slider->setValue(int(telemetry.sideslip));
    ui->roll_rate_slider->setValue(int(telemetry.rollRate));
    ui->g_force_slider->setValue(int(telemetry.gForce));
    ui->trimmer_roll_slider->setValue(int(telemetry.trimmerRoll));
    ui->trimmer_pitch_slider->setValue(int(telemetry.trimmerPitch));
    ui->trimmer_yaw_slider->setValue(int(telemetry.trimmerYaw));
    ui->gear_slider->setValue(int(telemetry.gear));
    ui->flaps_slider->setValue(int(telemetry.flaps));
    ui->airbrake_slider->setValue(int(telemetry.airbrake));
    ui->vertical_speed_slider->setValue(int(telemetry.verticalSpeed));
    // Redrawn even when no slider moved, so a cleared on-ground flag always shows.
    redrawTelemetry();
}

void StatusWidget::on_profile_activation_stateChanged(int arg1) {
    if (arg1 >= 1) {
        emit profileActivationEnabled();
    } else {
        emit profileActivationDisabled();
    }
}

void StatusWidget::redrawTelemetry() {
    showText(ui->airspeed_field, numberText(telemetry.getAirspeed()));
    showText(ui->prop_airflow_field, numberText(telemetry.propAirflow));
    showText(ui->aoa_field, numberText(telemetry.aoa));
    showText(ui->sideslip_field, numberText(telemetry.sideslip));
    showText(ui->roll_rate_field, numberText(telemetry.rollRate));
    showText(ui->g_force_field, numberText(telemetry.gForce));
    showText(ui->trimmer_roll_field, numberText(telemetry.trimmerRoll));
    showText(ui->trimmer_pitch_field, numberText(telemetry.trimmerPitch));
    showText(ui->trimmer_yaw_field, numberText(telemetry.trimmerYaw));
    showText(ui->gear_field, numberText(telemetry.gear));
    showText(ui->flaps_field, numberText(telemetry.flaps));
    showText(ui->airbrake_field, numberText(telemetry.airbrake));
    showText(ui->vertical_speed_field, numberText(telemetry.verticalSpeed));
    showText(ui->on_ground_state_field, telemetry.onGround ? QStringLiteral("YES") : QStringLiteral("NO"));
}

void StatusWidget::overrideField(float Telemetry::*field, int value) {
    telemetry.*field = float(value);
    emit telemetryOverrided(telemetry);
    redrawTelemetry();
}
