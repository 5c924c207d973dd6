#include "axiseffectswidget.h"

#include "ui_axiseffectswidget.h"

#include <QListView>
#include <QSignalBlocker>
#include <QStandardItemModel>

namespace {
constexpr int EffectCount = EffectsProfile::EffectTypeCount;

const char *const effectNames[EffectCount] = {
    "Natural airflow spring",
    "Simple spring",
    "Elevator weight",
    "Standard FFB (DirectX)",
    "Landing jolt shaker",
    "AoA shaker",
    "Extended gear shaker",
    "Extended flaps shaker",
    "Extended airbrakes shaker",
    // Misspelt on purpose: the entry keeps the text it has always had.
    "Rolling on ground shakeer",
    "IL2 Sturmovik specific shaker",
    "Condor 2 specific shaker",
    "Smart dampers",
};
} // namespace

QString AxisEffectsWidget::effectName(int type) {
    if (type < 0 || type >= EffectCount)
        return QString();
    return QString::fromLatin1(effectNames[type]);
}

QList<int> AxisEffectsWidget::effectsOfferedBy(int source) {
    using E = EffectsProfile;
    // The IL-2 and Condor specific shakers are offered for no source; they arrive only from profile files.
    switch (source) {
    case Telemetry::TELEMETRY_SOURCE_MSFS:
        // No DirectX pass-through.
        return {E::EFFECT_TYPE_SIMPLE_SPRING,
                E::EFFECT_TYPE_NATURAL_AIRFLOW,
                E::EFFECT_TYPE_ELEVATOR_WEIGHT,
                E::EFFECT_TYPE_LANDING_JOLT,
                E::EFFECT_TYPE_AOA_SHAKER,
                E::EFFECT_TYPE_EXTENDED_GEAR_SHAKER,
                E::EFFECT_TYPE_EXTENDED_FLAPS_SHAKER,
                E::EFFECT_TYPE_EXTENDED_AIRBRAKES_SHAKER,
                E::EFFECT_TYPE_ON_GROUND_ROLLING_SHAKER,
                E::EFFECT_TYPE_SMART_DAMPER};
    case Telemetry::TELEMETRY_SOURCE_WARTHUNDER:
        // No landing jolt and no ground rolling.
        return {E::EFFECT_TYPE_SIMPLE_SPRING,
                E::EFFECT_TYPE_NATURAL_AIRFLOW,
                E::EFFECT_TYPE_DIRECT_X_FFB,
                E::EFFECT_TYPE_ELEVATOR_WEIGHT,
                E::EFFECT_TYPE_AOA_SHAKER,
                E::EFFECT_TYPE_EXTENDED_GEAR_SHAKER,
                E::EFFECT_TYPE_EXTENDED_FLAPS_SHAKER,
                E::EFFECT_TYPE_EXTENDED_AIRBRAKES_SHAKER,
                E::EFFECT_TYPE_SMART_DAMPER};
    case Telemetry::TELEMETRY_SOURCE_CONDOR:
        // No landing jolt, gear, airbrakes or ground rolling.
        return {E::EFFECT_TYPE_SIMPLE_SPRING, E::EFFECT_TYPE_NATURAL_AIRFLOW,
                E::EFFECT_TYPE_DIRECT_X_FFB,  E::EFFECT_TYPE_ELEVATOR_WEIGHT,
                E::EFFECT_TYPE_AOA_SHAKER,    E::EFFECT_TYPE_EXTENDED_FLAPS_SHAKER,
                E::EFFECT_TYPE_SMART_DAMPER};
    case Telemetry::TELEMETRY_SOURCE_XPLANE:
        // DCS's set without the DirectX pass-through: X-Plane has no force-feedback output to pass on.
        return {E::EFFECT_TYPE_SIMPLE_SPRING,
                E::EFFECT_TYPE_NATURAL_AIRFLOW,
                E::EFFECT_TYPE_ELEVATOR_WEIGHT,
                E::EFFECT_TYPE_AOA_SHAKER,
                E::EFFECT_TYPE_LANDING_JOLT,
                E::EFFECT_TYPE_EXTENDED_FLAPS_SHAKER,
                E::EFFECT_TYPE_EXTENDED_GEAR_SHAKER,
                E::EFFECT_TYPE_ON_GROUND_ROLLING_SHAKER,
                E::EFFECT_TYPE_EXTENDED_AIRBRAKES_SHAKER,
                E::EFFECT_TYPE_SMART_DAMPER};
    default:
        // None, DCS, IL-2, and any value no source reports.
        return {E::EFFECT_TYPE_SIMPLE_SPRING,
                E::EFFECT_TYPE_NATURAL_AIRFLOW,
                E::EFFECT_TYPE_DIRECT_X_FFB,
                E::EFFECT_TYPE_ELEVATOR_WEIGHT,
                E::EFFECT_TYPE_AOA_SHAKER,
                E::EFFECT_TYPE_LANDING_JOLT,
                E::EFFECT_TYPE_EXTENDED_FLAPS_SHAKER,
                E::EFFECT_TYPE_EXTENDED_GEAR_SHAKER,
                E::EFFECT_TYPE_ON_GROUND_ROLLING_SHAKER,
                E::EFFECT_TYPE_EXTENDED_AIRBRAKES_SHAKER,
                E::EFFECT_TYPE_SMART_DAMPER};
    }
}

AxisEffectsWidget::AxisEffectsWidget(QWidget *parent)
    : QWidget(parent), ui(new Ui::AxisEffectsWidget), activeEffects(new QStandardItemModel(this)) {
    ui->setupUi(this);
    for (int type = 0; type < EffectCount; ++type)
        ui->effects_combo->addItem(effectName(type), type);
    ui->active_effects_list->setModel(activeEffects);
    connect(ui->active_effects_list, &QListView::clicked, this, &AxisEffectsWidget::listClicked);

    using E = EffectsProfile;
    pages[E::EFFECT_TYPE_NATURAL_AIRFLOW] = ui->natural_airflow_page;
    pages[E::EFFECT_TYPE_SIMPLE_SPRING] = ui->simple_spring_page;
    pages[E::EFFECT_TYPE_ELEVATOR_WEIGHT] = ui->elevator_weight_page;
    pages[E::EFFECT_TYPE_DIRECT_X_FFB] = ui->direct_x_page;
    pages[E::EFFECT_TYPE_LANDING_JOLT] = ui->landing_jolt_page;
    pages[E::EFFECT_TYPE_AOA_SHAKER] = ui->aoa_shaker_page;
    pages[E::EFFECT_TYPE_EXTENDED_GEAR_SHAKER] = ui->extended_gear_shaker_page;
    pages[E::EFFECT_TYPE_EXTENDED_FLAPS_SHAKER] = ui->extended_flaps_shaker_page;
    pages[E::EFFECT_TYPE_EXTENDED_AIRBRAKES_SHAKER] = ui->extended_airbrake_shaker_page;
    pages[E::EFFECT_TYPE_ON_GROUND_ROLLING_SHAKER] = ui->on_ground_rolling_shaker_page;
    pages[E::EFFECT_TYPE_IL2_SHAKING] = ui->il2_shaker_page;
    pages[E::EFFECT_TYPE_CONDOR_SHAKER] = ui->condor_shaker_page;
    pages[E::EFFECT_TYPE_SMART_DAMPER] = ui->smart_damper_page;

    refreshPage[E::EFFECT_TYPE_NATURAL_AIRFLOW] = [this] { ui->natural_airflow_widget->refresh(); };
    refreshPage[E::EFFECT_TYPE_SIMPLE_SPRING] = [this] { ui->simple_spring_widget->refresh(); };
    refreshPage[E::EFFECT_TYPE_ELEVATOR_WEIGHT] = [this] { ui->elevator_weight_widget->refresh(); };
    refreshPage[E::EFFECT_TYPE_DIRECT_X_FFB] = [this] { ui->direct_x_widget->refresh(); };
    refreshPage[E::EFFECT_TYPE_LANDING_JOLT] = [this] { ui->landing_jolt_widget->refresh(); };
    refreshPage[E::EFFECT_TYPE_AOA_SHAKER] = [this] { ui->aoa_shaker_widget->refresh(); };
    refreshPage[E::EFFECT_TYPE_EXTENDED_GEAR_SHAKER] = [this] { ui->extended_gear_shaker_widget->refresh(); };
    refreshPage[E::EFFECT_TYPE_EXTENDED_FLAPS_SHAKER] = [this] {
        ui->extended_flaps_shaker_widget->refresh();
    };
    refreshPage[E::EFFECT_TYPE_EXTENDED_AIRBRAKES_SHAKER] = [this] {
        ui->extended_airbrake_shaker_widget->refresh();
    };
    refreshPage[E::EFFECT_TYPE_ON_GROUND_ROLLING_SHAKER] = [this] {
        ui->on_ground_rolling_shaker_widget->refresh();
    };
    refreshPage[E::EFFECT_TYPE_IL2_SHAKING] = [this] { ui->il2_shaker_widget->refresh(); };
    refreshPage[E::EFFECT_TYPE_CONDOR_SHAKER] = [this] { ui->condor_shaker_widget->refresh(); };
    refreshPage[E::EFFECT_TYPE_SMART_DAMPER] = [this] { ui->smart_damper_widget->refresh(); };

    // An edit inside a page takes effect without the fade a sudden change would start on every step.
    const auto moderate = [this] { emit moderateSettingsChange(); };
    connect(ui->natural_airflow_widget, &AirflowSpringSettingsWidget::settingsChanged, this, moderate);
    connect(ui->simple_spring_widget, &SimpleSpringSettingsWidget::settingsChanged, this, moderate);
    connect(ui->elevator_weight_widget, &SimpleEffectSettingsWidget::settingsChanged, this, moderate);
    connect(ui->direct_x_widget, &DirectXSettingsWidget::settingsChanged, this, moderate);
    connect(ui->landing_jolt_widget, &LandingJoltSettingsWidget::settingsChanged, this, moderate);
    connect(ui->aoa_shaker_widget, &AoAShakerSettingsWidget::settingsChanged, this, moderate);
    connect(ui->extended_gear_shaker_widget, &GenericShakerSettingsWidget::settingsChanged, this, moderate);
    connect(ui->extended_flaps_shaker_widget, &GenericShakerSettingsWidget::settingsChanged, this, moderate);
    connect(ui->extended_airbrake_shaker_widget, &GenericShakerSettingsWidget::settingsChanged, this,
            moderate);
    connect(ui->on_ground_rolling_shaker_widget, &GenericShakerSettingsWidget::settingsChanged, this,
            moderate);
    connect(ui->il2_shaker_widget, &SimpleEffectSettingsWidget::settingsChanged, this, moderate);
    connect(ui->condor_shaker_widget, &CondorShakerSettingsWidget::settingsChanged, this, moderate);
    connect(ui->smart_damper_widget, &SmartDampeningSettingsWidget::settingsChanged, this, moderate);

    offered = effectsOfferedBy(Telemetry::TELEMETRY_SOURCE_NONE);
    refresh();
}

AxisEffectsWidget::~AxisEffectsWidget() = default;

void AxisEffectsWidget::setSettings(AxisEffectsSettings *newSettings) {
    settings = newSettings;
    AxisEffectsSettings *s = settings;
    ui->natural_airflow_widget->setSettings(s ? &s->airflowSpring : nullptr);
    ui->simple_spring_widget->setSettings(s ? &s->simpleSpring : nullptr);
    ui->elevator_weight_widget->setSettings(s ? &s->elevatorWeight : nullptr);
    ui->direct_x_widget->setSettings(s ? &s->directX : nullptr);
    ui->landing_jolt_widget->setSettings(s ? &s->landingJolt : nullptr);
    ui->aoa_shaker_widget->setSettings(s ? &s->aoaShaker : nullptr);
    ui->extended_gear_shaker_widget->setSettings(s ? &s->gearShaker : nullptr);
    ui->extended_flaps_shaker_widget->setSettings(s ? &s->flapsShaker : nullptr);
    ui->extended_airbrake_shaker_widget->setSettings(s ? &s->airbrakesShaker : nullptr);
    ui->on_ground_rolling_shaker_widget->setSettings(s ? &s->onGroundRollingShaker : nullptr);
    ui->il2_shaker_widget->setSettings(s ? &s->il2Shaking : nullptr);
    ui->condor_shaker_widget->setSettings(s ? &s->condorShaker : nullptr);
    ui->smart_damper_widget->setSettings(s ? &s->smartDamper : nullptr);
    refresh();
}

void AxisEffectsWidget::setOfferedEffects(const QList<int> &effects) {
    offered = effects;
    refreshCombo();
}

void AxisEffectsWidget::refresh() {
    refreshLists();
    for (const auto &refreshOne : refreshPage)
        refreshOne();
    ui->effects_stack->setCurrentWidget(ui->select_effect_page);
    ui->active_effects_list->clearSelection();
    ui->active_effects_list->setCurrentIndex(QModelIndex());
}

void AxisEffectsWidget::refreshLists() {
    refreshActiveList();
    refreshCombo();
}

void AxisEffectsWidget::refreshCombo() {
    auto *model = qobject_cast<QStandardItemModel *>(ui->effects_combo->model());
    auto *view = qobject_cast<QListView *>(ui->effects_combo->view());
    ui->effects_combo->setCurrentIndex(-1);
    int firstShown = -1;
    for (int row = 0; row < EffectCount; ++row) {
        const int type = ui->effects_combo->itemData(row).toInt();
        const bool shown = offered.contains(type);
        const SimpleEffectSettings *effect = settings ? effectOfType(*settings, type) : nullptr;
        if (view)
            view->setRowHidden(row, !shown);
        if (model && model->item(row))
            model->item(row)->setEnabled(!(effect && effect->active));
        if (shown && firstShown < 0)
            firstShown = row;
    }
    ui->effects_combo->setCurrentIndex(firstShown);
}

void AxisEffectsWidget::refreshActiveList() {
    activeEffects->clear();
    if (!settings)
        return;
    for (int type = 0; type < EffectCount; ++type) {
        if (!effectOfType(*settings, type)->active)
            continue;
        auto *item = new QStandardItem(effectName(type));
        item->setData(type);
        item->setEditable(false);
        activeEffects->appendRow(item);
    }
}

void AxisEffectsWidget::showEffectPage(int type) {
    if (type < 0 || type >= EffectCount)
        return;
    refreshPage[type]();
    ui->effects_stack->setCurrentWidget(pages[type]);
    for (int row = 0; row < activeEffects->rowCount(); ++row) {
        if (activeEffects->item(row)->data().toInt() == type) {
            ui->active_effects_list->setCurrentIndex(activeEffects->index(row, 0));
            return;
        }
    }
}

void AxisEffectsWidget::on_activate_effect_button_clicked() {
    const int row = ui->effects_combo->currentIndex();
    if (!settings || row < 0)
        return;
    bool isNumber = false;
    const int type = ui->effects_combo->itemData(row).toInt(&isNumber);
    // A hidden row can still be reached with the keyboard or the wheel; only what the source offers is added.
    if (!isNumber || type < 0 || type >= EffectCount || !offered.contains(type))
        return;
    SimpleEffectSettings *effect = effectOfType(*settings, type);
    if (effect->active) {
        // Adding it again would only fade the forces out and in.
        showEffectPage(type);
        return;
    }
    effect->active = true;
    refreshLists();
    showEffectPage(type);
    emit suddenSettingsChange();
}

void AxisEffectsWidget::removeEffect(int type) {
    if (!settings)
        return;
    SimpleEffectSettings *effect = effectOfType(*settings, type);
    // The virtual reset also returns the active flag to its default, so the edited values are gone. The
    // Condor shaker's reset keeps its flag and strength: removing it only restores its frequency range.
    effect->reset();
    emit moderateSettingsChange();
    refreshLists();
    if (effect->active) {
        showEffectPage(type);
    } else {
        refreshPage[type]();
        ui->effects_stack->setCurrentWidget(ui->select_effect_page);
    }
}

void AxisEffectsWidget::on_natural_airflow_disable_button_clicked() {
    removeEffect(EffectsProfile::EFFECT_TYPE_NATURAL_AIRFLOW);
}

void AxisEffectsWidget::on_simple_spring_disable_button_clicked() {
    removeEffect(EffectsProfile::EFFECT_TYPE_SIMPLE_SPRING);
}

void AxisEffectsWidget::on_elevator_weight_disable_button_clicked() {
    removeEffect(EffectsProfile::EFFECT_TYPE_ELEVATOR_WEIGHT);
}

void AxisEffectsWidget::on_landing_jolt_disable_button_clicked() {
    removeEffect(EffectsProfile::EFFECT_TYPE_LANDING_JOLT);
}

void AxisEffectsWidget::on_aoa_shaker_disble_button_clicked() {
    removeEffect(EffectsProfile::EFFECT_TYPE_AOA_SHAKER);
}

void AxisEffectsWidget::on_extended_gear_shaker_disable_button_clicked() {
    removeEffect(EffectsProfile::EFFECT_TYPE_EXTENDED_GEAR_SHAKER);
}

void AxisEffectsWidget::on_extended_flaps_shaker_disable_button_clicked() {
    removeEffect(EffectsProfile::EFFECT_TYPE_EXTENDED_FLAPS_SHAKER);
}

void AxisEffectsWidget::on_extended_airbrake_shaker_disable_button_clicked() {
    removeEffect(EffectsProfile::EFFECT_TYPE_EXTENDED_AIRBRAKES_SHAKER);
}

void AxisEffectsWidget::on_on_ground_rolling_shaker_disable_button_clicked() {
    removeEffect(EffectsProfile::EFFECT_TYPE_ON_GROUND_ROLLING_SHAKER);
}

void AxisEffectsWidget::on_il2_shaker_disable_button_clicked() {
    removeEffect(EffectsProfile::EFFECT_TYPE_IL2_SHAKING);
}

void AxisEffectsWidget::on_direct_x_disable_button_clicked() {
    removeEffect(EffectsProfile::EFFECT_TYPE_DIRECT_X_FFB);
}

void AxisEffectsWidget::on_condor_shaker_disable_button_clicked() {
    removeEffect(EffectsProfile::EFFECT_TYPE_CONDOR_SHAKER);
}

void AxisEffectsWidget::on_smart_damper_disable_button_clicked() {
    removeEffect(EffectsProfile::EFFECT_TYPE_SMART_DAMPER);
}

void AxisEffectsWidget::listClicked(QModelIndex index) {
    if (!index.isValid())
        return;
    bool isNumber = false;
    const int type = index.data(Qt::UserRole + 1).toInt(&isNumber);
    if (isNumber)
        showEffectPage(type);
}
