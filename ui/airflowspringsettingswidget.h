#pragma once

#include "effectsettings.h"

#include <QWidget>
#include <memory>

namespace Ui {
class AirflowSpringSettingsWidget;
}

// Edits the natural airflow spring: strength, airspeed and thrust forces, and the attenuation between the
// start and end airspeeds.
class AirflowSpringSettingsWidget : public QWidget {
    Q_OBJECT

public:
    explicit AirflowSpringSettingsWidget(QWidget *parent = nullptr);
    ~AirflowSpringSettingsWidget() override;

    // Edits these settings from now on (null: nothing) and shows them.
    void setSettings(AirflowSpringSettings *settings);
    // Shows the settings as they are, without raising any signal.
    void refresh();

signals:
    void settingsChanged();

private slots:
    void on_attenuation_start_airspeed_spinner_valueChanged(int arg1);
    void on_attenuation_end_airspeed_spinner_valueChanged(int arg1);

private:
    void tieAirspeedLimits();
    void storeAirspeeds();

    std::unique_ptr<Ui::AirflowSpringSettingsWidget> ui;
    AirflowSpringSettings *settings = nullptr;
};
