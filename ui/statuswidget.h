#pragma once

#include "devicerecords.h"
#include "telemetry.h"

#include <QString>
#include <QWidget>
#include <cstdint>
#include <memory>

namespace Ui {
class StatusWidget;
}

// The panel beside the effect editor: device and telemetry states, the live telemetry, and the hand-set
// telemetry override for trying effects without a simulator.
class StatusWidget : public QWidget {
    Q_OBJECT

public:
    explicit StatusWidget(QWidget *parent = nullptr);
    ~StatusWidget() override;

    // The panel's own names; the profile editor's upper-case names differ on purpose.
    static QString sourceName(Telemetry::Source source);

signals:
    void telemetryOverrideEnabled();
    void telemetryOverrideDisabled();
    void telemetryOverrided(Telemetry telemetry);
    void landed(float verticalSpeed, float airspeed);
    void profileActivationEnabled();
    void profileActivationDisabled();

public slots:
    void changeTelemetry(Telemetry telemetry);
    void changeTelemetrySource(Telemetry::Source source, QString flightModule);
    void endTelemetry();
    void connectJoystick(uint32_t version);
    void disconnectJoystick();
    void connectRudder(uint32_t version);
    void disconnectRudder();
    void changePosition(PositionInput position);

private slots:
    // Connected by name from the form; the order of declaration is the meta-method order.
    void on_telemetry_override_stateChanged(int arg1);
    void on_airspeed_slider_valueChanged(int value);
    void on_prop_airflow_slider_valueChanged(int value);
    void on_aoa_slider_valueChanged(int value);
    void on_sideslip_slider_valueChanged(int value);
    void on_roll_rate_slider_valueChanged(int value);
    void on_g_force_slider_valueChanged(int value);
    void on_trimmer_roll_slider_valueChanged(int value);
    void on_trimmer_pitch_slider_valueChanged(int value);
    void on_trimmer_yaw_slider_valueChanged(int value);
    void on_gear_slider_valueChanged(int value);
    void on_flaps_slider_valueChanged(int value);
    void on_airbrake_slider_valueChanged(int value);
    void on_vertical_speed_slider_valueChanged(int value);
    void on_on_ground_state_button_clicked();
    void on_reset_telemetry_button_clicked();
    void on_profile_activation_stateChanged(int arg1);

private:
    void redrawTelemetry();
    void overrideField(float Telemetry::*field, int value);

    std::unique_ptr<Ui::StatusWidget> ui;
    bool telemetryOverride = false;
    Telemetry telemetry;
};
