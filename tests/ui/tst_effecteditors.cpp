#include "airflowspringsettingswidget.h"
#include "aoashakersettingswidget.h"
#include "condorshakersettingswidget.h"
#include "directxsettingswidget.h"
#include "genericshakersettingswidget.h"
#include "landingjoltsettingswidget.h"
#include "simpleeffectsettingswidget.h"
#include "simplespringsettingswidget.h"
#include "smartdampeningsettingswidget.h"

#include <QLabel>
#include <QSignalSpy>
#include <QSlider>
#include <QSpinBox>
#include <QtTest>
#include <cmath>

namespace {
QSpinBox *spin(QWidget &widget, const char *name) {
    return widget.findChild<QSpinBox *>(QLatin1String(name));
}

QSlider *slider(QWidget &widget, const char *name) {
    return widget.findChild<QSlider *>(QLatin1String(name) + QStringLiteral("_slider"));
}

// Every spin box of a widget, by name, with its range; each has a slider of the same range beside it.
void verifyControls(QWidget &widget, const QList<std::tuple<const char *, int, int>> &expected) {
    QCOMPARE(widget.findChildren<QSpinBox *>().size(), expected.size());
    QCOMPARE(widget.findChildren<QSlider *>().size(), expected.size());
    for (const auto &[name, minimum, maximum] : expected) {
        QSpinBox *box = spin(widget, name);
        QSlider *bar = slider(widget, name);
        QVERIFY2(box && bar, name);
        QCOMPARE(box->minimum(), minimum);
        QCOMPARE(box->maximum(), maximum);
        QCOMPARE(bar->minimum(), minimum);
        QCOMPARE(bar->maximum(), maximum);
        QCOMPARE(bar->orientation(), Qt::Horizontal);
    }
}

// Typing into the spin box writes the model and raises one settingsChanged; the slider follows.
template <typename Widget>
void verifyEdit(Widget &widget, const char *name, int value, const std::function<float()> &stored) {
    QSignalSpy changed(&widget, &Widget::settingsChanged);
    QSpinBox *box = spin(widget, name);
    QVERIFY2(box, name);
    box->setValue(value);
    QCOMPARE(changed.count(), 1);
    QCOMPARE(stored(), float(value));
    QCOMPARE(slider(widget, name)->value(), value);
}

// Moving the slider moves the spin box, which writes the model.
template <typename Widget>
void verifySlider(Widget &widget, const char *name, int value, const std::function<float()> &stored) {
    QSignalSpy changed(&widget, &Widget::settingsChanged);
    slider(widget, name)->setValue(value);
    QCOMPARE(spin(widget, name)->value(), value);
    QCOMPARE(stored(), float(value));
    QCOMPARE(changed.count(), 1);
}
} // namespace

class TestEffectEditors : public QObject {
    Q_OBJECT

private slots:
    void simpleWidgetsEditTheStrength() {
        SimpleEffectSettings settings;
        settings.reset();
        SimpleSpringSettingsWidget spring;
        verifyControls(spring, {{"total_effect_strength", 0, 100}});
        spring.setSettings(&settings);
        verifyEdit(spring, "total_effect_strength", 35, [&] { return settings.total_effect_strength; });
        verifySlider(spring, "total_effect_strength", 60, [&] { return settings.total_effect_strength; });

        SimpleEffectSettingsWidget simple;
        verifyControls(simple, {{"total_effect_strength", 0, 100}});
        simple.setSettings(&settings);
        QCOMPARE(spin(simple, "total_effect_strength")->value(), 60);
        verifyEdit(simple, "total_effect_strength", 5, [&] { return settings.total_effect_strength; });
        QCOMPARE(settings.active, false); // editing never switches an effect on or off
    }

    void labelsCarryTheirUnits() {
        GenericShakerSettingsWidget shaker;
        QStringList texts;
        for (QLabel *label : shaker.findChildren<QLabel *>())
            texts.append(label->text());
        QVERIFY(texts.contains(QStringLiteral("Total effect strength (%)")));
        QVERIFY(texts.contains(QStringLiteral("Min effect frequency (Hz)")));
        QVERIFY(texts.contains(QStringLiteral("Max effect frequency (Hz)")));
        QVERIFY(texts.contains(QStringLiteral("Frequency exponent (%)")));
        DirectXSettingsWidget directX;
        texts.clear();
        for (QLabel *label : directX.findChildren<QLabel *>())
            texts.append(label->text());
        QVERIFY(texts.contains(QStringLiteral("Spring effects strength (%)")));
        QVERIFY(texts.contains(QStringLiteral("Trimmer effect strength (%)")));
        QVERIFY(texts.contains(QStringLiteral("Periodic effect strength (%)")));
    }

    void directXMapsSpringToForce() {
        DirectXSettings settings;
        settings.reset();
        DirectXSettingsWidget widget;
        verifyControls(widget, {{"total_effect_strength", 0, 100},
                                {"spring_effect_strength", 0, 100},
                                {"trimmer_effect_strength", 0, 100},
                                {"periodic_effect_strength", 0, 100}});
        widget.setSettings(&settings);
        verifyEdit(widget, "spring_effect_strength", 40, [&] { return settings.force; });
        verifyEdit(widget, "trimmer_effect_strength", 20, [&] { return settings.trimmer; });
        verifyEdit(widget, "periodic_effect_strength", 70, [&] { return settings.periodic; });
        verifyEdit(widget, "total_effect_strength", 90, [&] { return settings.total_effect_strength; });
        QCOMPARE(settings.force, 40.0f);
    }

    void smartDamperControls() {
        SmartDamperSettings settings;
        settings.reset();
        SmartDampeningSettingsWidget widget;
        verifyControls(
            widget,
            {{"total_effect_strength", 0, 100}, {"static_dampening", 0, 100}, {"dynamic_dampening", 0, 100}});
        widget.setSettings(&settings);
        verifyEdit(widget, "static_dampening", 12, [&] { return settings.static_dampening; });
        verifyEdit(widget, "dynamic_dampening", 34, [&] { return settings.dynamic_dampening; });
        verifySlider(widget, "total_effect_strength", 56, [&] { return settings.total_effect_strength; });
    }

    void genericShakerControlsAndLinks() {
        GenericSpeedDependantShakerSettings settings;
        settings.reset();
        GenericShakerSettingsWidget widget;
        verifyControls(widget, {{"total_effect_strength", 0, 100},
                                {"min_effect_strength_speed", 0, 1000},
                                {"max_effect_strength_speed", 0, 1000},
                                {"speed_effect_strength_exponent", -100, 100},
                                {"min_effect_frequency", 0, 100},
                                {"max_effect_frequency", 0, 100},
                                {"frequency_exponent", -100, 100}});
        widget.setSettings(&settings);
        // The defaults are shown, and the pairs limit each other.
        QCOMPARE(spin(widget, "min_effect_strength_speed")->value(), 0);
        QCOMPARE(spin(widget, "max_effect_strength_speed")->value(), 1000);
        QCOMPARE(spin(widget, "min_effect_frequency")->value(), 10);
        QCOMPARE(spin(widget, "max_effect_frequency")->value(), 20);
        QCOMPARE(spin(widget, "min_effect_frequency")->maximum(), 20);
        QCOMPARE(spin(widget, "max_effect_frequency")->minimum(), 10);

        verifyEdit(widget, "min_effect_strength_speed", 150, [&] { return settings.speed.min; });
        QCOMPARE(spin(widget, "max_effect_strength_speed")->minimum(), 150);
        QCOMPARE(slider(widget, "max_effect_strength_speed")->minimum(), 150);
        verifyEdit(widget, "max_effect_strength_speed", 700, [&] { return settings.speed.max; });
        QCOMPARE(spin(widget, "min_effect_strength_speed")->maximum(), 700);
        verifyEdit(widget, "speed_effect_strength_exponent", -40, [&] { return settings.speed.exp; });
        verifyEdit(widget, "max_effect_frequency", 45, [&] { return settings.frequency.max; });
        QCOMPARE(spin(widget, "min_effect_frequency")->maximum(), 45);
        verifyEdit(widget, "min_effect_frequency", 12, [&] { return settings.frequency.min; });
        verifyEdit(widget, "frequency_exponent", 30, [&] { return settings.frequency.exp; });

        // A max below the min cannot be entered.
        QSignalSpy changed(&widget, &GenericShakerSettingsWidget::settingsChanged);
        spin(widget, "max_effect_frequency")->setValue(3);
        QCOMPARE(spin(widget, "max_effect_frequency")->value(), 12);
        QCOMPARE(settings.frequency.max, 12.0f);
        QCOMPARE(changed.count(), 1);
    }

    void aoaShakerControls() {
        AoAShakerSettings settings;
        settings.reset();
        AoAShakerSettingsWidget widget;
        verifyControls(widget, {{"total_effect_strength", 0, 100},
                                {"min_effect_strength_speed", 0, 1000},
                                {"max_effect_strength_speed", 0, 1000},
                                {"speed_effect_strength_exponent", -100, 100},
                                {"min_effect_strength_angle", 0, 90},
                                {"max_effect_strength_angle", 0, 90},
                                {"angle_effect_strength_exponent", -100, 100},
                                {"min_effect_frequency", 0, 100},
                                {"max_effect_frequency", 0, 100},
                                {"frequency_exponent", -100, 100}});
        widget.setSettings(&settings);
        QCOMPARE(spin(widget, "min_effect_strength_angle")->value(), 10);
        QCOMPARE(spin(widget, "max_effect_strength_angle")->value(), 15);
        verifyEdit(widget, "min_effect_strength_angle", 8, [&] { return settings.aoa.min; });
        verifyEdit(widget, "max_effect_strength_angle", 22, [&] { return settings.aoa.max; });
        QCOMPARE(spin(widget, "min_effect_strength_angle")->maximum(), 22);
        QCOMPARE(spin(widget, "max_effect_strength_angle")->minimum(), 8);
        verifyEdit(widget, "angle_effect_strength_exponent", 25, [&] { return settings.aoa.exp; });
        verifyEdit(widget, "min_effect_strength_speed", 90, [&] { return settings.speed.min; });
        verifyEdit(widget, "max_effect_frequency", 31, [&] { return settings.frequency.max; });
        verifySlider(widget, "speed_effect_strength_exponent", -7, [&] { return settings.speed.exp; });
    }

    void landingJoltControls() {
        JoltSettings settings;
        settings.reset();
        LandingJoltSettingsWidget widget;
        verifyControls(widget, {{"total_effect_strength", 0, 100},
                                {"min_effect_strength_speed", 0, 1000},
                                {"max_effect_strength_speed", 0, 1000},
                                {"min_effect_frequency", 0, 100},
                                {"max_effect_frequency", 0, 100},
                                {"frequency_exponent", -100, 100},
                                {"effect_time", 0, 1000}});
        widget.setSettings(&settings);
        QCOMPARE(spin(widget, "effect_time")->value(), 250);
        verifyEdit(widget, "effect_time", 600, [&] { return float(settings.effect_time); });
        QCOMPARE(settings.effect_time, int64_t(600));
        verifyEdit(widget, "max_effect_strength_speed", 320, [&] { return settings.speed.max; });
        verifyEdit(widget, "min_effect_frequency", 4, [&] { return settings.frequency.min; });
    }

    void condorShakerControls() {
        CondorShakerSettings settings;
        settings.reset();
        CondorShakerSettingsWidget widget;
        verifyControls(widget, {{"total_effect_strength", 0, 100},
                                {"min_effect_frequency", 0, 100},
                                {"max_effect_frequency", 0, 100},
                                {"frequency_exponent", -100, 100}});
        widget.setSettings(&settings);
        verifyEdit(widget, "min_effect_frequency", 15, [&] { return settings.frequency.min; });
        QCOMPARE(spin(widget, "max_effect_frequency")->minimum(), 15);
        verifyEdit(widget, "max_effect_frequency", 50, [&] { return settings.frequency.max; });
        QCOMPARE(spin(widget, "min_effect_frequency")->maximum(), 50);
        verifyEdit(widget, "frequency_exponent", -60, [&] { return settings.frequency.exp; });
    }

    void airflowSpringControlsAndCurve() {
        AirflowSpringSettings settings;
        settings.reset();
        AirflowSpringSettingsWidget widget;
        verifyControls(widget, {{"total_effect_strength", 0, 100},
                                {"airspeed_force_spinner", 0, 100},
                                {"thrust_force_spinner", 0, 100},
                                {"attenuation_start_airspeed_spinner", 0, 500},
                                {"attenuation_end_airspeed_spinner", 1, 1000},
                                {"attenuation_strength", 0, 100},
                                {"local_aoa_influence_strength", 0, 100}});
        widget.setSettings(&settings);
        QCOMPARE(spin(widget, "attenuation_end_airspeed_spinner")->minimum(), 501);
        QCOMPARE(spin(widget, "attenuation_start_airspeed_spinner")->value(), 500);
        QCOMPARE(spin(widget, "attenuation_end_airspeed_spinner")->value(), 1000);
        QCOMPARE(spin(widget, "attenuation_strength")->value(), 100);
        verifyEdit(widget, "airspeed_force_spinner", 45, [&] { return settings.airspeed_force; });
        verifyEdit(widget, "thrust_force_spinner", 25, [&] { return settings.thrust_force; });
        verifyEdit(widget, "attenuation_strength", 80, [&] { return settings.attenuation_strength; });
        verifyEdit(widget, "local_aoa_influence_strength", 10,
                   [&] { return settings.local_aoa_influence_strength; });

        // The airspeeds go through the setter: the curve follows them.
        verifyEdit(widget, "attenuation_start_airspeed_spinner", 200,
                   [&] { return settings.attenuation_start_airspeed; });
        QCOMPARE(spin(widget, "attenuation_end_airspeed_spinner")->minimum(), 201);
        QCOMPARE(slider(widget, "attenuation_end_airspeed_spinner")->minimum(), 201);
        verifyEdit(widget, "attenuation_end_airspeed_spinner", 600,
                   [&] { return settings.attenuation_end_airspeed; });
        AirflowSpringSettings expected;
        expected.setAttenuationAirspeeds(200, 600);
        for (int i = 0; i < AirflowSpringSettings::CurvePoints; ++i) {
            QCOMPARE(settings.attenuationCurve[i].x, expected.attenuationCurve[i].x);
            QCOMPARE(settings.attenuationCurve[i].y, expected.attenuationCurve[i].y);
        }
        // The end can never reach the start.
        spin(widget, "attenuation_end_airspeed_spinner")->setValue(100);
        QCOMPARE(settings.attenuation_end_airspeed, 201.0f);
    }

    // Showing values never writes them back: a value out of a control's range is shown clamped, and the
    // settings keep it until that control is edited.
    void refreshShowsWithoutWritingBack() {
        GenericSpeedDependantShakerSettings settings;
        settings.reset();
        settings.total_effect_strength = 150;
        settings.speed = {-20, 5000, 300, 0, 1000, 0};
        settings.frequency = {std::nanf(""), 20.6f, 0, 10, 20, 0};
        GenericShakerSettingsWidget widget;
        QSignalSpy changed(&widget, &GenericShakerSettingsWidget::settingsChanged);
        widget.setSettings(&settings);
        QCOMPARE(spin(widget, "total_effect_strength")->value(), 100);
        QCOMPARE(slider(widget, "total_effect_strength")->value(), 100);
        QCOMPARE(spin(widget, "min_effect_strength_speed")->value(), 0);
        QCOMPARE(spin(widget, "max_effect_strength_speed")->value(), 1000);
        QCOMPARE(spin(widget, "speed_effect_strength_exponent")->value(), 100);
        QCOMPARE(spin(widget, "min_effect_frequency")->value(), 0);
        QCOMPARE(spin(widget, "max_effect_frequency")->value(), 21);
        QCOMPARE(changed.count(), 0);
        QCOMPARE(settings.total_effect_strength, 150.0f);
        QCOMPARE(settings.speed.min, -20.0f);
        QCOMPARE(settings.speed.max, 5000.0f);
        QCOMPARE(settings.speed.exp, 300.0f);
        QVERIFY(std::isnan(settings.frequency.min));
        QCOMPARE(settings.frequency.max, 20.6f);
        // Editing one control writes only that value.
        spin(widget, "total_effect_strength")->setValue(90);
        QCOMPARE(settings.total_effect_strength, 90.0f);
        QCOMPARE(settings.speed.max, 5000.0f);
        QCOMPARE(changed.count(), 1);
    }

    void unboundWidgetsIgnoreEdits() {
        SmartDampeningSettingsWidget widget;
        QSignalSpy changed(&widget, &SmartDampeningSettingsWidget::settingsChanged);
        spin(widget, "static_dampening")->setValue(30);
        QCOMPARE(changed.count(), 0);
        widget.refresh();
        QCOMPARE(spin(widget, "static_dampening")->value(), 30);
    }
};

QTEST_MAIN(TestEffectEditors)
#include "tst_effecteditors.moc"
