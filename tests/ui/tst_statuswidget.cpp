#include "statuswidget.h"

#include <QCheckBox>
#include <QGroupBox>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QSignalSpy>
#include <QSlider>
#include <QtTest>

namespace {
struct SliderRow {
    const char *stem;
    const char *label;
    int minimum;
    int maximum;
};

// The thirteen override rows in the panel's order.
const SliderRow sliderRows[] = {
    {"airspeed", "Airspeed (km/h)", 0, 1000},
    {"prop_airflow", "Thrust (%)", 0, 100},
    {"aoa", "AoA (degrees)", -180, 180},
    {"sideslip", "Sideslip (degrees)", -90, 90},
    {"roll_rate", "Roll rate (degrees/s)", -360, 360},
    {"g_force", "GForce", -10, 10},
    {"trimmer_roll", "Trimmer roll (%)", -100, 100},
    {"trimmer_pitch", "Trimmer pitch (%)", -100, 100},
    {"trimmer_yaw", "Trimmer yaw (%)", -100, 100},
    {"gear", "Gear (%)", 0, 100},
    {"flaps", "Flaps (%)", 0, 100},
    {"airbrake", "Airbrake (%)", 0, 100},
    {"vertical_speed", "Vertical speed (m/s)", -10, 10},
};

// The record field each row writes, in the same order as sliderRows.
float fieldOf(const Telemetry &t, int row) {
    const float values[] = {t.airspeed, t.propAirflow, t.aoa,          t.sideslip,   t.rollRate,
                            t.gForce,   t.trimmerRoll, t.trimmerPitch, t.trimmerYaw, t.gear,
                            t.flaps,    t.airbrake,    t.verticalSpeed};
    return values[row];
}

Telemetry liveTelemetry() {
    Telemetry t;
    t.verticalSpeed = -2.5f;
    t.aileronsFlowAngle = 1;
    t.aoa = 4.125f;
    t.sideslip = -1.5f;
    t.rollRate = 33;
    t.gForce = 1.25f;
    t.propAirflow = 77;
    t.trimmerRoll = -3;
    t.trimmerPitch = 12.5f;
    t.trimmerYaw = 8;
    t.gear = 100;
    t.airbrake = 40;
    t.flaps = 25;
    t.onGround = true;
    t.setAirspeed(321.75f);
    return t;
}
} // namespace

class TestStatusWidget : public QObject {
    Q_OBJECT

private:
    template <typename T> static T *child(const StatusWidget &w, const char *name) {
        T *found = w.findChild<T *>(QString::fromLatin1(name));
        if (!found) {
            qFatal("missing child %s", name);
        }
        return found;
    }
    static QString text(const StatusWidget &w, const char *name) { return child<QLineEdit>(w, name)->text(); }
    static QSlider *slider(const StatusWidget &w, const char *stem) {
        return child<QSlider>(w, (QByteArray(stem) + "_slider").constData());
    }
    static QString valueText(const StatusWidget &w, const char *stem) {
        return text(w, (QByteArray(stem) + "_field").constData());
    }
    static void clickOverride(StatusWidget &w) {
        QCheckBox *box = child<QCheckBox>(w, "telemetry_override");
        QTest::mouseClick(box, Qt::LeftButton, {}, box->rect().center());
    }
    static void expectAllTelemetryShows(const StatusWidget &w, const QString &value,
                                        const QString &onGround) {
        for (const SliderRow &row : sliderRows) {
            QCOMPARE(valueText(w, row.stem), value);
        }
        QCOMPARE(text(w, "on_ground_state_field"), onGround);
    }

private slots:
    void formTextsAndInitialState() {
        StatusWidget w;
        QCheckBox *activation = child<QCheckBox>(w, "profile_activation");
        QCOMPARE(activation->text(), QStringLiteral("Enable automatic profile activation"));
        QVERIFY(activation->isChecked());
        QCheckBox *override = child<QCheckBox>(w, "telemetry_override");
        QCOMPARE(override->text(), QStringLiteral("Enable telemetry data override"));
        QVERIFY(!override->isChecked());

        QCOMPARE(child<QGroupBox>(w, "status_group")->title(), QStringLiteral("Status"));
        QCOMPARE(child<QGroupBox>(w, "input_group")->title(), QStringLiteral("Input"));
        QCOMPARE(child<QGroupBox>(w, "telemetry_group")->title(), QStringLiteral("Telemetry"));

        QCOMPARE(child<QLabel>(w, "joystick_label")->text(), QStringLiteral("Joystick"));
        QCOMPARE(child<QLabel>(w, "rudder_label")->text(), QStringLiteral("Rudder"));
        QCOMPARE(child<QLabel>(w, "telemetry_data_source_label")->text(),
                 QStringLiteral("Telemetry data source"));
        QCOMPARE(child<QLabel>(w, "flight_module_label")->text(), QStringLiteral("Flight module"));
        QCOMPARE(child<QLabel>(w, "roll_label")->text(), QStringLiteral("Roll"));
        QCOMPARE(child<QLabel>(w, "pitch_label")->text(), QStringLiteral("Pitch"));
        QCOMPARE(child<QLabel>(w, "yaw_label")->text(), QStringLiteral("Yaw"));
        QCOMPARE(child<QLabel>(w, "on_ground_state_label")->text(), QStringLiteral("On ground"));

        for (const char *name :
             {"joystick_state", "rudder_state", "telemetry_data_source", "flight_module"}) {
            QCOMPARE(text(w, name), QStringLiteral("Not detected"));
        }
        for (const char *name : {"joystick_state", "rudder_state", "telemetry_data_source", "flight_module",
                                 "roll_input", "pitch_input", "yaw_input", "on_ground_state_field"}) {
            QVERIFY2(child<QLineEdit>(w, name)->isReadOnly(), name);
        }

        for (const SliderRow &row : sliderRows) {
            QSlider *s = slider(w, row.stem);
            QCOMPARE(child<QLabel>(w, (QByteArray(row.stem) + "_label").constData())->text(),
                     QString::fromUtf8(row.label));
            QCOMPARE(s->minimum(), row.minimum);
            QCOMPARE(s->maximum(), row.maximum);
            QCOMPARE(s->value(), 0);
            QCOMPARE(s->orientation(), Qt::Horizontal);
            QCOMPARE(s->minimumWidth(), 150);
            QVERIFY2(!s->isEnabled(), row.stem);
            QLineEdit *field = child<QLineEdit>(w, (QByteArray(row.stem) + "_field").constData());
            QVERIFY(field->isReadOnly());
            QCOMPARE(field->text(), QStringLiteral("0"));
        }
        QCOMPARE(text(w, "on_ground_state_field"), QStringLiteral("NO"));
        QPushButton *onGround = child<QPushButton>(w, "on_ground_state_button");
        QCOMPARE(onGround->text(), QStringLiteral("Change state"));
        QVERIFY(!onGround->isEnabled());
        QPushButton *reset = child<QPushButton>(w, "reset_telemetry_button");
        QCOMPARE(reset->text(), QStringLiteral("Reset telemetry inputs"));
        QVERIFY(!reset->isEnabled());
    }

    void formIsInReadingOrder() {
        // The panel's children come in the order a reader meets them, which is also the tab order.
        StatusWidget w;
        const QStringList expected = {"profile_activation",
                                      "joystick_state",
                                      "rudder_state",
                                      "telemetry_data_source",
                                      "flight_module",
                                      "roll_input",
                                      "pitch_input",
                                      "yaw_input",
                                      "telemetry_override",
                                      "airspeed_slider",
                                      "airspeed_field",
                                      "prop_airflow_slider",
                                      "prop_airflow_field",
                                      "aoa_slider",
                                      "aoa_field",
                                      "sideslip_slider",
                                      "sideslip_field",
                                      "roll_rate_slider",
                                      "roll_rate_field",
                                      "g_force_slider",
                                      "g_force_field",
                                      "trimmer_roll_slider",
                                      "trimmer_roll_field",
                                      "trimmer_pitch_slider",
                                      "trimmer_pitch_field",
                                      "trimmer_yaw_slider",
                                      "trimmer_yaw_field",
                                      "gear_slider",
                                      "gear_field",
                                      "flaps_slider",
                                      "flaps_field",
                                      "airbrake_slider",
                                      "airbrake_field",
                                      "vertical_speed_slider",
                                      "vertical_speed_field",
                                      "on_ground_state_field",
                                      "on_ground_state_button",
                                      "reset_telemetry_button"};
        QStringList actual;
        const QSet<QString> wanted(expected.begin(), expected.end());
        for (QWidget *widget : w.findChildren<QWidget *>()) {
            if (wanted.contains(widget->objectName())) {
                actual << widget->objectName();
            }
        }
        QCOMPARE(actual, expected);
    }

    void overrideBoxEnablesExactlyTheFifteenControls() {
        StatusWidget w;
        w.show();
        QVERIFY(QTest::qWaitForWindowExposed(&w));
        clickOverride(w);
        QVERIFY(child<QCheckBox>(w, "telemetry_override")->isChecked());
        for (const SliderRow &row : sliderRows) {
            QVERIFY2(slider(w, row.stem)->isEnabled(), row.stem);
        }
        QVERIFY(child<QPushButton>(w, "on_ground_state_button")->isEnabled());
        QVERIFY(child<QPushButton>(w, "reset_telemetry_button")->isEnabled());
        QVERIFY(child<QCheckBox>(w, "profile_activation")->isEnabled());
        clickOverride(w);
        for (const SliderRow &row : sliderRows) {
            QVERIFY2(!slider(w, row.stem)->isEnabled(), row.stem);
        }
        QVERIFY(!child<QPushButton>(w, "on_ground_state_button")->isEnabled());
        QVERIFY(!child<QPushButton>(w, "reset_telemetry_button")->isEnabled());
    }

    void deviceStates() {
        StatusWidget w;
        w.connectJoystick(12);
        QCOMPARE(text(w, "joystick_state"), QStringLiteral("Connected (Version 12)"));
        QCOMPARE(text(w, "rudder_state"), QStringLiteral("Not detected"));
        w.connectRudder(4294967295u);
        QCOMPARE(text(w, "rudder_state"), QStringLiteral("Connected (Version 4294967295)"));
        w.connectJoystick(0);
        QCOMPARE(text(w, "joystick_state"), QStringLiteral("Connected (Version 0)"));
        w.disconnectJoystick();
        QCOMPARE(text(w, "joystick_state"), QStringLiteral("Not detected"));
        QCOMPARE(text(w, "rudder_state"), QStringLiteral("Connected (Version 4294967295)"));
        w.disconnectRudder();
        QCOMPARE(text(w, "rudder_state"), QStringLiteral("Not detected"));
    }

    void sourceNames_data() {
        QTest::addColumn<int>("source");
        QTest::addColumn<QString>("name");
        QTest::newRow("none") << 0 << "Not detected";
        QTest::newRow("msfs") << 1 << "MSFS";
        QTest::newRow("dcs") << 2 << "DCS";
        QTest::newRow("il2") << 3 << "Il2 Shturmovik";
        QTest::newRow("warthunder") << 4 << "Warthunder";
        QTest::newRow("condor") << 5 << "Condor2";
        QTest::newRow("xplane") << 6 << "X-Plane";
        QTest::newRow("unknown") << 7 << "Not detected";
        QTest::newRow("negative") << -1 << "Not detected";
    }

    void sourceNames() {
        QFETCH(int, source);
        QFETCH(QString, name);
        StatusWidget w;
        w.changeTelemetrySource(Telemetry::Source(source), QStringLiteral(" F/A-18C hornet "));
        QCOMPARE(text(w, "telemetry_data_source"), name);
        QCOMPARE(text(w, "flight_module"), QStringLiteral(" F/A-18C hornet "));
        QCOMPARE(StatusWidget::sourceName(Telemetry::Source(source)), name);
    }

    void endTelemetryClearsSourceAndModule() {
        StatusWidget w;
        w.changeTelemetrySource(Telemetry::TELEMETRY_SOURCE_DCS, QStringLiteral("Su-27"));
        w.endTelemetry();
        QCOMPARE(text(w, "telemetry_data_source"), QStringLiteral("Not detected"));
        QCOMPARE(text(w, "flight_module"), QStringLiteral("Not detected"));
        w.changeTelemetrySource(Telemetry::TELEMETRY_SOURCE_MSFS, QString());
        QCOMPARE(text(w, "flight_module"), QString());
    }

    void positionsWithSixSignificantDigits() {
        StatusWidget w;
        PositionInput p;
        p.roll = 1.23456789f;
        p.pitch = -0.5f;
        p.yaw = 0.0000001f;
        w.changePosition(p);
        QCOMPARE(text(w, "roll_input"), QStringLiteral("1.23457"));
        QCOMPARE(text(w, "pitch_input"), QStringLiteral("-0.5"));
        QCOMPARE(text(w, "yaw_input"), QStringLiteral("1e-07"));
        p.roll = 1234567;
        p.pitch = 100;
        p.yaw = -32768;
        w.changePosition(p);
        QCOMPARE(text(w, "roll_input"), QStringLiteral("1.23457e+06"));
        QCOMPARE(text(w, "pitch_input"), QStringLiteral("100"));
        QCOMPARE(text(w, "yaw_input"), QStringLiteral("-32768"));
    }

    void liveTelemetryIsShown() {
        StatusWidget w;
        w.changeTelemetry(liveTelemetry());
        QCOMPARE(valueText(w, "airspeed"), QStringLiteral("321.75"));
        QCOMPARE(valueText(w, "prop_airflow"), QStringLiteral("77"));
        QCOMPARE(valueText(w, "aoa"), QStringLiteral("4.125"));
        QCOMPARE(valueText(w, "sideslip"), QStringLiteral("-1.5"));
        QCOMPARE(valueText(w, "roll_rate"), QStringLiteral("33"));
        QCOMPARE(valueText(w, "g_force"), QStringLiteral("1.25"));
        QCOMPARE(valueText(w, "trimmer_roll"), QStringLiteral("-3"));
        QCOMPARE(valueText(w, "trimmer_pitch"), QStringLiteral("12.5"));
        QCOMPARE(valueText(w, "trimmer_yaw"), QStringLiteral("8"));
        QCOMPARE(valueText(w, "gear"), QStringLiteral("100"));
        QCOMPARE(valueText(w, "flaps"), QStringLiteral("25"));
        QCOMPARE(valueText(w, "airbrake"), QStringLiteral("40"));
        QCOMPARE(valueText(w, "vertical_speed"), QStringLiteral("-2.5"));
        QCOMPARE(text(w, "on_ground_state_field"), QStringLiteral("YES"));

        Telemetry t;
        t.aoa = 3.14159265f;
        t.gForce = 123456.7f;
        w.changeTelemetry(t);
        QCOMPARE(valueText(w, "aoa"), QStringLiteral("3.14159"));
        QCOMPARE(valueText(w, "g_force"), QStringLiteral("123457"));
        QCOMPARE(text(w, "on_ground_state_field"), QStringLiteral("NO"));
    }

    void airspeedIsShownClamped() {
        StatusWidget w;
        Telemetry t;
        t.setAirspeed(-40);
        w.changeTelemetry(t);
        QCOMPARE(valueText(w, "airspeed"), QStringLiteral("0"));
        t.setAirspeed(1500);
        w.changeTelemetry(t);
        QCOMPARE(valueText(w, "airspeed"), QStringLiteral("1000"));
    }

    void overrideOnZeroesTheDisplayWhileTelemetryFlows() {
        StatusWidget w;
        w.show();
        QVERIFY(QTest::qWaitForWindowExposed(&w));
        QSignalSpy enabled(&w, &StatusWidget::telemetryOverrideEnabled);
        QSignalSpy overrided(&w, &StatusWidget::telemetryOverrided);
        w.changeTelemetry(liveTelemetry());
        QCOMPARE(valueText(w, "airspeed"), QStringLiteral("321.75"));
        clickOverride(w);
        QCOMPARE(enabled.count(), 1);
        QCOMPARE(overrided.count(), 0);
        expectAllTelemetryShows(w, QStringLiteral("0"), QStringLiteral("NO"));

        // The simulator keeps sending: the hand-set values stay.
        w.changeTelemetry(liveTelemetry());
        expectAllTelemetryShows(w, QStringLiteral("0"), QStringLiteral("NO"));
        QTest::keyClick(slider(w, "aoa"), Qt::Key_End);
        QCOMPARE(valueText(w, "aoa"), QStringLiteral("180"));
        w.changeTelemetry(liveTelemetry());
        QCOMPARE(valueText(w, "aoa"), QStringLiteral("180"));
        QCOMPARE(valueText(w, "airspeed"), QStringLiteral("0"));
        QCOMPARE(enabled.count(), 1);
    }

    void liveTelemetryReturnsWhenTheOverrideIsOff() {
        StatusWidget w;
        w.show();
        QVERIFY(QTest::qWaitForWindowExposed(&w));
        clickOverride(w);
        clickOverride(w);
        w.changeTelemetry(liveTelemetry());
        QCOMPARE(valueText(w, "airspeed"), QStringLiteral("321.75"));
        QCOMPARE(text(w, "on_ground_state_field"), QStringLiteral("YES"));
    }

    void eachSliderSetsItsField_data() {
        QTest::addColumn<int>("row");
        for (int i = 0; i < int(std::size(sliderRows)); ++i) {
            QTest::newRow(sliderRows[i].stem) << i;
        }
    }

    void eachSliderSetsItsField() {
        QFETCH(int, row);
        const SliderRow &r = sliderRows[row];
        StatusWidget w;
        w.show();
        QVERIFY(QTest::qWaitForWindowExposed(&w));
        clickOverride(w);
        QSignalSpy overrided(&w, &StatusWidget::telemetryOverrided);
        QSlider *s = slider(w, r.stem);

        // End and Home drive the real slider to its range's ends.
        QTest::keyClick(s, Qt::Key_End);
        QCOMPARE(s->value(), r.maximum);
        QCOMPARE(valueText(w, r.stem), QString::number(r.maximum));
        QCOMPARE(overrided.count(), 1);
        Telemetry sent = overrided.takeFirst().at(0).value<Telemetry>();
        for (int other = 0; other < int(std::size(sliderRows)); ++other) {
            QCOMPARE(fieldOf(sent, other), other == row ? float(r.maximum) : 0.0f);
        }
        QCOMPARE(sent.onGround, false);
        QCOMPARE(sent.aileronsFlowAngle, 0.0f);

        QTest::keyClick(s, Qt::Key_Home);
        QCOMPARE(valueText(w, r.stem), QString::number(r.minimum));
        QCOMPARE(overrided.count(), 1);
        QCOMPARE(fieldOf(overrided.takeFirst().at(0).value<Telemetry>(), row), float(r.minimum));
    }

    void airspeedSliderAtTheTopShows1000() {
        StatusWidget w;
        w.show();
        QVERIFY(QTest::qWaitForWindowExposed(&w));
        clickOverride(w);
        QSignalSpy overrided(&w, &StatusWidget::telemetryOverrided);
        slider(w, "airspeed")->setValue(1000);
        QCOMPARE(valueText(w, "airspeed"), QStringLiteral("1000"));
        QCOMPARE(overrided.count(), 1);
        QCOMPARE(overrided.at(0).at(0).value<Telemetry>().getAirspeed(), 1000.0f);
        slider(w, "airspeed")->setValue(437);
        QCOMPARE(valueText(w, "airspeed"), QStringLiteral("437"));
    }

    void valuesAccumulateAcrossSliders() {
        StatusWidget w;
        w.show();
        QVERIFY(QTest::qWaitForWindowExposed(&w));
        clickOverride(w);
        QSignalSpy overrided(&w, &StatusWidget::telemetryOverrided);
        slider(w, "airspeed")->setValue(250);
        slider(w, "vertical_speed")->setValue(-7);
        slider(w, "flaps")->setValue(30);
        QCOMPARE(overrided.count(), 3);
        const Telemetry last = overrided.at(2).at(0).value<Telemetry>();
        QCOMPARE(last.getAirspeed(), 250.0f);
        QCOMPARE(last.verticalSpeed, -7.0f);
        QCOMPARE(last.flaps, 30.0f);
        QCOMPARE(overrided.at(1).at(0).value<Telemetry>().verticalSpeed, -7.0f);
        QCOMPARE(overrided.at(1).at(0).value<Telemetry>().flaps, 0.0f);
        QCOMPARE(valueText(w, "vertical_speed"), QStringLiteral("-7"));
    }

    void changeStateTwiceLandsOnce() {
        StatusWidget w;
        w.show();
        QVERIFY(QTest::qWaitForWindowExposed(&w));
        clickOverride(w);
        slider(w, "vertical_speed")->setValue(-3);
        slider(w, "airspeed")->setValue(250);
        QSignalSpy landed(&w, &StatusWidget::landed);
        QSignalSpy overrided(&w, &StatusWidget::telemetryOverrided);
        QPushButton *button = child<QPushButton>(w, "on_ground_state_button");

        QTest::mouseClick(button, Qt::LeftButton);
        QCOMPARE(text(w, "on_ground_state_field"), QStringLiteral("YES"));
        QCOMPARE(landed.count(), 1);
        QCOMPARE(landed.at(0).at(0).toFloat(), -3.0f);
        QCOMPARE(landed.at(0).at(1).toFloat(), 250.0f);
        QCOMPARE(overrided.count(), 1);
        QCOMPARE(overrided.at(0).at(0).value<Telemetry>().onGround, true);

        QTest::mouseClick(button, Qt::LeftButton);
        QCOMPARE(text(w, "on_ground_state_field"), QStringLiteral("NO"));
        QCOMPARE(landed.count(), 1);
        QCOMPARE(overrided.count(), 2);
        QCOMPARE(overrided.at(1).at(0).value<Telemetry>().onGround, false);
        QCOMPARE(overrided.at(1).at(0).value<Telemetry>().verticalSpeed, -3.0f);
    }

    void landedComesBeforeTheRecord() {
        StatusWidget w;
        w.show();
        QVERIFY(QTest::qWaitForWindowExposed(&w));
        clickOverride(w);
        QStringList order;
        connect(&w, &StatusWidget::landed, this, [&order] { order << QStringLiteral("landed"); });
        connect(&w, &StatusWidget::telemetryOverrided, this,
                [&order] { order << QStringLiteral("overrided"); });
        QTest::mouseClick(child<QPushButton>(w, "on_ground_state_button"), Qt::LeftButton);
        QCOMPARE(order, QStringList({"landed", "overrided"}));
    }

    void resetReturnsEverySliderToZero() {
        StatusWidget w;
        w.show();
        QVERIFY(QTest::qWaitForWindowExposed(&w));
        clickOverride(w);
        slider(w, "airspeed")->setValue(600);
        slider(w, "aoa")->setValue(-45);
        slider(w, "vertical_speed")->setValue(5);
        QTest::mouseClick(child<QPushButton>(w, "on_ground_state_button"), Qt::LeftButton);
        QCOMPARE(text(w, "on_ground_state_field"), QStringLiteral("YES"));

        QSignalSpy overrided(&w, &StatusWidget::telemetryOverrided);
        QTest::mouseClick(child<QPushButton>(w, "reset_telemetry_button"), Qt::LeftButton);
        for (const SliderRow &row : sliderRows) {
            QCOMPARE(slider(w, row.stem)->value(), 0);
        }
        expectAllTelemetryShows(w, QStringLiteral("0"), QStringLiteral("NO"));
        // One report per slider that moved; the last one is all zero.
        QCOMPARE(overrided.count(), 3);
        const Telemetry last = overrided.last().at(0).value<Telemetry>();
        QCOMPARE(last.getAirspeed(), 0.0f);
        QCOMPARE(last.aoa, 0.0f);
        QCOMPARE(last.verticalSpeed, 0.0f);
        QCOMPARE(last.onGround, false);
    }

    void resetShowsNoEvenWhenNoSliderMoved() {
        StatusWidget w;
        w.show();
        QVERIFY(QTest::qWaitForWindowExposed(&w));
        clickOverride(w);
        QTest::mouseClick(child<QPushButton>(w, "on_ground_state_button"), Qt::LeftButton);
        QCOMPARE(text(w, "on_ground_state_field"), QStringLiteral("YES"));
        QSignalSpy overrided(&w, &StatusWidget::telemetryOverrided);
        QTest::mouseClick(child<QPushButton>(w, "reset_telemetry_button"), Qt::LeftButton);
        QCOMPARE(text(w, "on_ground_state_field"), QStringLiteral("NO"));
        QCOMPARE(overrided.count(), 0);
    }

    void switchingOffResetsThenReports() {
        StatusWidget w;
        w.show();
        QVERIFY(QTest::qWaitForWindowExposed(&w));
        clickOverride(w);
        slider(w, "gear")->setValue(100);
        slider(w, "g_force")->setValue(-4);
        QStringList order;
        connect(&w, &StatusWidget::telemetryOverrided, this, [&order](Telemetry t) {
            order << QStringLiteral("overrided %1 %2").arg(t.gear).arg(t.gForce);
        });
        connect(&w, &StatusWidget::telemetryOverrideDisabled, this,
                [&order] { order << QStringLiteral("disabled"); });
        connect(&w, &StatusWidget::telemetryOverrideEnabled, this,
                [&order] { order << QStringLiteral("enabled"); });
        clickOverride(w);
        QCOMPARE(order, QStringList({"overrided 0 0", "overrided 0 0", "disabled"}));
        QCOMPARE(slider(w, "gear")->value(), 0);
        QCOMPARE(slider(w, "g_force")->value(), 0);
        expectAllTelemetryShows(w, QStringLiteral("0"), QStringLiteral("NO"));
    }

    void profileActivationBox() {
        StatusWidget w;
        w.show();
        QVERIFY(QTest::qWaitForWindowExposed(&w));
        QSignalSpy enabled(&w, &StatusWidget::profileActivationEnabled);
        QSignalSpy disabled(&w, &StatusWidget::profileActivationDisabled);
        QCheckBox *box = child<QCheckBox>(w, "profile_activation");
        QTest::mouseClick(box, Qt::LeftButton, {}, box->rect().center());
        QCOMPARE(enabled.count(), 0);
        QCOMPARE(disabled.count(), 1);
        QTest::mouseClick(box, Qt::LeftButton, {}, box->rect().center());
        QCOMPARE(enabled.count(), 1);
        QCOMPARE(disabled.count(), 1);
        // A partial state is never offered, but any state above zero counts as on.
        box->setTristate(true);
        box->setCheckState(Qt::PartiallyChecked);
        QCOMPARE(enabled.count(), 2);
    }

    void constructionEmitsNothing() {
        StatusWidget w;
        // Signals raised inside the constructor would be lost; the state must simply agree with the editor's.
        QVERIFY(child<QCheckBox>(w, "profile_activation")->isChecked());
        QSignalSpy enabled(&w, &StatusWidget::profileActivationEnabled);
        w.show();
        QVERIFY(QTest::qWaitForWindowExposed(&w));
        QCOMPARE(enabled.count(), 0);
    }

    void metaMethodOrder() {
        const QMetaObject &mo = StatusWidget::staticMetaObject;
        const QStringList expected = {
            "telemetryOverrideEnabled()",
            "telemetryOverrideDisabled()",
            "telemetryOverrided(Telemetry)",
            "landed(float,float)",
            "profileActivationEnabled()",
            "profileActivationDisabled()",
            "changeTelemetry(Telemetry)",
            "changeTelemetrySource(Telemetry::Source,QString)",
            "endTelemetry()",
            "connectJoystick(uint32_t)",
            "disconnectJoystick()",
            "connectRudder(uint32_t)",
            "disconnectRudder()",
            "changePosition(PositionInput)",
            "on_telemetry_override_stateChanged(int)",
            "on_airspeed_slider_valueChanged(int)",
            "on_prop_airflow_slider_valueChanged(int)",
            "on_aoa_slider_valueChanged(int)",
            "on_sideslip_slider_valueChanged(int)",
            "on_roll_rate_slider_valueChanged(int)",
            "on_g_force_slider_valueChanged(int)",
            "on_trimmer_roll_slider_valueChanged(int)",
            "on_trimmer_pitch_slider_valueChanged(int)",
            "on_trimmer_yaw_slider_valueChanged(int)",
            "on_gear_slider_valueChanged(int)",
            "on_flaps_slider_valueChanged(int)",
            "on_airbrake_slider_valueChanged(int)",
            "on_vertical_speed_slider_valueChanged(int)",
            "on_on_ground_state_button_clicked()",
            "on_reset_telemetry_button_clicked()",
            "on_profile_activation_stateChanged(int)",
        };
        QStringList actual;
        for (int i = mo.methodOffset(); i < mo.methodCount(); ++i) {
            actual << QString::fromLatin1(mo.method(i).methodSignature());
        }
        QCOMPARE(actual, expected);
        for (int i = 0; i < 6; ++i) {
            QCOMPARE(mo.method(mo.methodOffset() + i).methodType(), QMetaMethod::Signal);
        }
        for (int i = 6; i < expected.size(); ++i) {
            QCOMPARE(mo.method(mo.methodOffset() + i).methodType(), QMetaMethod::Slot);
        }
        const QMetaMethod landed = mo.method(mo.methodOffset() + 3);
        QCOMPARE(landed.parameterNames(), QList<QByteArray>({"verticalSpeed", "airspeed"}));
    }

    void slidersHandlersRunOncePerMove() {
        // The form connects the handlers by name; a second, hand-made connection would double every report.
        StatusWidget w;
        w.show();
        QVERIFY(QTest::qWaitForWindowExposed(&w));
        clickOverride(w);
        QSignalSpy overrided(&w, &StatusWidget::telemetryOverrided);
        QSignalSpy enabled(&w, &StatusWidget::telemetryOverrideEnabled);
        QTest::keyClick(slider(w, "trimmer_yaw"), Qt::Key_Right);
        QCOMPARE(overrided.count(), 1);
        QCOMPARE(valueText(w, "trimmer_yaw"), QStringLiteral("1"));
        QCOMPARE(enabled.count(), 0);
    }
};

QTEST_MAIN(TestStatusWidget)
#include "tst_statuswidget.moc"
