#include "airflowspringsettingswidget.h"
#include "aoashakersettingswidget.h"
#include "axiseffectswidget.h"
#include "genericshakersettingswidget.h"
#include "landingjoltsettingswidget.h"
#include "smartdampeningsettingswidget.h"
#include "threeaxiseffectswidget.h"

#include <QMetaMethod>
#include <QtTest>

namespace {
// The class's own meta-methods, signals first, then slots, each with its kind.
QStringList ownMethods(const QMetaObject &meta) {
    QStringList methods;
    for (int i = meta.methodOffset(); i < meta.methodCount(); ++i) {
        const QMetaMethod method = meta.method(i);
        const char *kind = method.methodType() == QMetaMethod::Signal ? "signal " : "slot ";
        methods.append(QLatin1String(kind) + QString::fromLatin1(method.methodSignature()));
    }
    return methods;
}
} // namespace

class TestEditorMetaMethods : public QObject {
    Q_OBJECT

private slots:
    void threeAxisEffectsWidget() {
        QCOMPARE(ownMethods(ThreeAxisEffectsWidget::staticMetaObject),
                 (QStringList{"signal profileListChanged(QMap<QString,EffectsProfileMetadata>)",
                              "signal suddenValueChange(EffectsSettings)",
                              "signal moderateValueChange(EffectsSettings)",
                              "slot on_profile_combo_activated(int)", "slot on_save_profile_clicked()",
                              "slot on_delete_profile_clicked()", "slot readProfiles()", "slot redraw()",
                              "slot checkEnabledEffects(Telemetry::Source)"}));
    }

    void axisEffectsWidget() {
        QCOMPARE(
            ownMethods(AxisEffectsWidget::staticMetaObject),
            (QStringList{
                "signal suddenSettingsChange()", "signal moderateSettingsChange()",
                "slot on_activate_effect_button_clicked()",
                "slot on_natural_airflow_disable_button_clicked()",
                "slot on_simple_spring_disable_button_clicked()",
                "slot on_elevator_weight_disable_button_clicked()",
                "slot on_landing_jolt_disable_button_clicked()", "slot on_aoa_shaker_disble_button_clicked()",
                "slot on_extended_gear_shaker_disable_button_clicked()",
                "slot on_extended_flaps_shaker_disable_button_clicked()",
                "slot on_extended_airbrake_shaker_disable_button_clicked()",
                "slot on_on_ground_rolling_shaker_disable_button_clicked()",
                "slot on_il2_shaker_disable_button_clicked()", "slot on_direct_x_disable_button_clicked()",
                "slot on_condor_shaker_disable_button_clicked()",
                "slot on_smart_damper_disable_button_clicked()", "slot listClicked(QModelIndex)"}));
    }

    void settingsWidgets() {
        QCOMPARE(ownMethods(SmartDampeningSettingsWidget::staticMetaObject),
                 QStringList{"signal settingsChanged()"});
        QCOMPARE(ownMethods(AirflowSpringSettingsWidget::staticMetaObject),
                 (QStringList{"signal settingsChanged()",
                              "slot on_attenuation_start_airspeed_spinner_valueChanged(int)",
                              "slot on_attenuation_end_airspeed_spinner_valueChanged(int)"}));
        QCOMPARE(
            ownMethods(AoAShakerSettingsWidget::staticMetaObject),
            (QStringList{"signal settingsChanged()", "slot on_min_effect_strength_speed_valueChanged(int)",
                         "slot on_max_effect_strength_speed_valueChanged(int)",
                         "slot on_min_effect_strength_angle_valueChanged(int)",
                         "slot on_max_effect_strength_angle_valueChanged(int)",
                         "slot on_min_effect_frequency_valueChanged(int)",
                         "slot on_max_effect_frequency_valueChanged(int)"}));
        const QStringList shaker{"signal settingsChanged()",
                                 "slot on_min_effect_strength_speed_valueChanged(int)",
                                 "slot on_max_effect_strength_speed_valueChanged(int)",
                                 "slot on_min_effect_frequency_valueChanged(int)",
                                 "slot on_max_effect_frequency_valueChanged(int)"};
        QCOMPARE(ownMethods(GenericShakerSettingsWidget::staticMetaObject), shaker);
        QCOMPARE(ownMethods(LandingJoltSettingsWidget::staticMetaObject), shaker);
    }
};

QTEST_APPLESS_MAIN(TestEditorMetaMethods)
#include "tst_editormetamethods.moc"
