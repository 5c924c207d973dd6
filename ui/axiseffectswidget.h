#pragma once

#include "effectsprofile.h"

#include <QList>
#include <QModelIndex>
#include <QWidget>
#include <functional>
#include <memory>

class QStandardItemModel;

namespace Ui {
class AxisEffectsWidget;
}

// Edits the effects of one axis of the current profile: a combo box of the effects the profile's source
// offers, "Add selected effect", the list of active effects and one page per effect with its settings and
// "Remove effect".
class AxisEffectsWidget : public QWidget {
    Q_OBJECT

public:
    explicit AxisEffectsWidget(QWidget *parent = nullptr);
    ~AxisEffectsWidget() override;

    // The text of an effect in the combo box, the list and its page title; empty outside 0..12.
    static QString effectName(int type);
    // The effects offered for a telemetry source, as EffectType values; an unknown source offers what
    // "none" offers.
    static QList<int> effectsOfferedBy(int source);

    // Edits this axis from now on and shows it. The settings must outlive the widget or be replaced.
    void setSettings(AxisEffectsSettings *settings);
    // Hands over the effects the profile's source offers and refreshes the combo box.
    void setOfferedEffects(const QList<int> &effects);
    // Shows the bound settings as they are, without raising any signal: the combo box, the active list,
    // every page's controls, and the "Select effect from the list." page.
    void refresh();

signals:
    void suddenSettingsChange();
    void moderateSettingsChange();

public slots:
    void on_activate_effect_button_clicked();
    void on_natural_airflow_disable_button_clicked();
    void on_simple_spring_disable_button_clicked();
    void on_elevator_weight_disable_button_clicked();
    void on_landing_jolt_disable_button_clicked();
    void on_aoa_shaker_disble_button_clicked();
    void on_extended_gear_shaker_disable_button_clicked();
    void on_extended_flaps_shaker_disable_button_clicked();
    void on_extended_airbrake_shaker_disable_button_clicked();
    void on_on_ground_rolling_shaker_disable_button_clicked();
    void on_il2_shaker_disable_button_clicked();
    void on_direct_x_disable_button_clicked();
    void on_condor_shaker_disable_button_clicked();
    void on_smart_damper_disable_button_clicked();
    void listClicked(QModelIndex index);

private:
    void removeEffect(int type);
    void refreshLists();
    void refreshCombo();
    void refreshActiveList();
    void showEffectPage(int type);

    std::unique_ptr<Ui::AxisEffectsWidget> ui;
    AxisEffectsSettings *settings = nullptr;
    QList<int> offered;
    QStandardItemModel *activeEffects;
    QWidget *pages[EffectsProfile::EffectTypeCount] = {};
    std::function<void()> refreshPage[EffectsProfile::EffectTypeCount];
};
