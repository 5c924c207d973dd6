#include "axiseffectswidget.h"

#include <QComboBox>
#include <QGroupBox>
#include <QLabel>
#include <QListView>
#include <QPushButton>
#include <QSignalSpy>
#include <QSpinBox>
#include <QStackedWidget>
#include <QStandardItemModel>
#include <QtTest>

namespace {
struct EffectRow {
    const char *text;
    const char *stem;
    const char *widgetClass;
};

const EffectRow effectRows[13] = {
    {"Natural airflow spring", "natural_airflow", "AirflowSpringSettingsWidget"},
    {"Simple spring", "simple_spring", "SimpleSpringSettingsWidget"},
    {"Elevator weight", "elevator_weight", "SimpleEffectSettingsWidget"},
    {"Standard FFB (DirectX)", "direct_x", "DirectXSettingsWidget"},
    {"Landing jolt shaker", "landing_jolt", "LandingJoltSettingsWidget"},
    {"AoA shaker", "aoa_shaker", "AoAShakerSettingsWidget"},
    {"Extended gear shaker", "extended_gear_shaker", "GenericShakerSettingsWidget"},
    {"Extended flaps shaker", "extended_flaps_shaker", "GenericShakerSettingsWidget"},
    {"Extended airbrakes shaker", "extended_airbrake_shaker", "GenericShakerSettingsWidget"},
    {"Rolling on ground shakeer", "on_ground_rolling_shaker", "GenericShakerSettingsWidget"},
    {"IL2 Sturmovik specific shaker", "il2_shaker", "SimpleEffectSettingsWidget"},
    {"Condor 2 specific shaker", "condor_shaker", "CondorShakerSettingsWidget"},
    {"Smart dampers", "smart_damper", "SmartDampeningSettingsWidget"},
};

QString buttonName(int type) {
    // The AoA page's button is spelt so, to match its slot.
    return type == EffectsProfile::EFFECT_TYPE_AOA_SHAKER
               ? QStringLiteral("aoa_shaker_disble_button")
               : QLatin1String(effectRows[type].stem) + QStringLiteral("_disable_button");
}

// One axis editor, shown, bound to its own settings.
struct Fixture {
    AxisEffectsSettings settings;
    AxisEffectsWidget widget;
    QComboBox *combo;
    QListView *list;
    QStackedWidget *stack;
    QPushButton *add;

    Fixture() {
        settings.reset();
        widget.setSettings(&settings);
        widget.resize(600, 420);
        widget.show();
        combo = widget.findChild<QComboBox *>(QStringLiteral("effects_combo"));
        list = widget.findChild<QListView *>(QStringLiteral("active_effects_list"));
        stack = widget.findChild<QStackedWidget *>(QStringLiteral("effects_stack"));
        add = widget.findChild<QPushButton *>(QStringLiteral("activate_effect_button"));
    }

    QWidget *page(int type) const {
        return widget.findChild<QWidget *>(QLatin1String(effectRows[type].stem) + QStringLiteral("_page"));
    }
    QWidget *selectPage() const { return widget.findChild<QWidget *>(QStringLiteral("select_effect_page")); }

    QStringList listed() const {
        QStringList texts;
        for (int row = 0; row < list->model()->rowCount(); ++row)
            texts.append(list->model()->index(row, 0).data().toString());
        return texts;
    }

    QList<int> shownRows() const {
        auto *view = qobject_cast<QListView *>(combo->view());
        QList<int> rows;
        for (int row = 0; row < combo->count(); ++row) {
            if (!view->isRowHidden(row))
                rows.append(row);
        }
        return rows;
    }

    bool rowEnabled(int row) const {
        return qobject_cast<QStandardItemModel *>(combo->model())->item(row)->isEnabled();
    }

    void addEffect(int type) {
        combo->setCurrentIndex(type);
        QTest::mouseClick(add, Qt::LeftButton);
    }

    void remove(int type) {
        auto *button = widget.findChild<QPushButton *>(buttonName(type));
        QTest::mouseClick(button, Qt::LeftButton);
    }
};
} // namespace

class TestAxisEffectsEditor : public QObject {
    Q_OBJECT

private slots:
    void comboHoldsThirteenRowsInTypeOrder() {
        Fixture f;
        QCOMPARE(f.combo->count(), 13);
        for (int row = 0; row < 13; ++row) {
            QCOMPARE(f.combo->itemText(row), QString::fromUtf8(effectRows[row].text));
            QCOMPARE(f.combo->itemData(row).toInt(), row);
            QCOMPARE(AxisEffectsWidget::effectName(row), QString::fromUtf8(effectRows[row].text));
        }
        QCOMPARE(AxisEffectsWidget::effectName(13), QString());
        QCOMPARE(AxisEffectsWidget::effectName(-1), QString());
        QCOMPARE(f.add->text(), QStringLiteral("Add selected effect"));
    }

    void everyEffectHasItsPage() {
        Fixture f;
        QCOMPARE(f.stack->count(), 14);
        QCOMPARE(f.stack->currentWidget(), f.selectPage());
        auto *label = f.selectPage()->findChild<QLabel *>();
        QVERIFY(label);
        QCOMPARE(label->text(), QStringLiteral("Select effect from the list."));
        for (int type = 0; type < 13; ++type) {
            QWidget *page = f.page(type);
            QVERIFY2(page, effectRows[type].stem);
            QCOMPARE(f.stack->indexOf(page), type + 1);
            auto *group = page->findChild<QGroupBox *>();
            QVERIFY(group);
            QCOMPARE(group->title(), QString::fromUtf8(effectRows[type].text));
            auto *settingsWidget =
                page->findChild<QWidget *>(QLatin1String(effectRows[type].stem) + QStringLiteral("_widget"));
            QVERIFY(settingsWidget);
            QCOMPARE(QString::fromLatin1(settingsWidget->metaObject()->className()),
                     QString::fromLatin1(effectRows[type].widgetClass));
            auto *button = page->findChild<QPushButton *>(buttonName(type));
            QVERIFY2(button, qPrintable(buttonName(type)));
            QCOMPARE(button->text(), QStringLiteral("Remove effect"));
        }
    }

    void rowsFollowTheSource_data() {
        QTest::addColumn<int>("source");
        QTest::addColumn<QList<int>>("rows");
        const QList<int> full{0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 12};
        QTest::newRow("none") << 0 << full;
        QTest::newRow("MSFS") << 1 << QList<int>{0, 1, 2, 4, 5, 6, 7, 8, 9, 12};
        QTest::newRow("DCS") << 2 << full;
        QTest::newRow("IL-2") << 3 << full;
        QTest::newRow("War Thunder") << 4 << QList<int>{0, 1, 2, 3, 5, 6, 7, 8, 12};
        QTest::newRow("Condor 2") << 5 << QList<int>{0, 1, 2, 3, 5, 7, 12};
        QTest::newRow("X-Plane") << 6 << QList<int>{0, 1, 2, 4, 5, 6, 7, 8, 9, 12};
        QTest::newRow("unknown") << 9 << full;
    }

    void rowsFollowTheSource() {
        QFETCH(int, source);
        QFETCH(QList<int>, rows);
        Fixture f;
        f.widget.setOfferedEffects(AxisEffectsWidget::effectsOfferedBy(source));
        QCOMPARE(f.shownRows(), rows);
        // The first row shown is selected.
        QCOMPARE(f.combo->currentIndex(), rows.first());
        // Back to "none": every row of its set shows again, in table order.
        f.widget.setOfferedEffects(AxisEffectsWidget::effectsOfferedBy(0));
        QCOMPARE(f.shownRows(), (QList<int>{0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 12}));
    }

    void offeredSetsAreBuiltInTheirOrder() {
        QCOMPARE(AxisEffectsWidget::effectsOfferedBy(0), (QList<int>{1, 0, 3, 2, 5, 4, 7, 6, 9, 8, 12}));
        QCOMPARE(AxisEffectsWidget::effectsOfferedBy(1), (QList<int>{1, 0, 2, 4, 5, 6, 7, 8, 9, 12}));
        QCOMPARE(AxisEffectsWidget::effectsOfferedBy(2), (QList<int>{1, 0, 3, 2, 5, 4, 7, 6, 9, 8, 12}));
        QCOMPARE(AxisEffectsWidget::effectsOfferedBy(3), (QList<int>{1, 0, 3, 2, 5, 4, 7, 6, 9, 8, 12}));
        QCOMPARE(AxisEffectsWidget::effectsOfferedBy(4), (QList<int>{1, 0, 3, 2, 5, 6, 7, 8, 12}));
        QCOMPARE(AxisEffectsWidget::effectsOfferedBy(5), (QList<int>{1, 0, 3, 2, 5, 7, 12}));
        QCOMPARE(AxisEffectsWidget::effectsOfferedBy(6), (QList<int>{1, 0, 2, 5, 4, 7, 6, 9, 8, 12}));
    }

    void addingShowsThePageAndTheListEntry() {
        Fixture f;
        QSignalSpy sudden(&f.widget, &AxisEffectsWidget::suddenSettingsChange);
        QSignalSpy moderate(&f.widget, &AxisEffectsWidget::moderateSettingsChange);
        f.addEffect(EffectsProfile::EFFECT_TYPE_AOA_SHAKER);
        QCOMPARE(sudden.count(), 1);
        QCOMPARE(moderate.count(), 0);
        QCOMPARE(f.settings.aoaShaker.active, true);
        QCOMPARE(f.listed(), QStringList{QStringLiteral("AoA shaker")});
        QCOMPARE(f.stack->currentWidget(), f.page(EffectsProfile::EFFECT_TYPE_AOA_SHAKER));
        QCOMPARE(f.list->currentIndex().row(), 0);
        QCOMPARE(f.rowEnabled(EffectsProfile::EFFECT_TYPE_AOA_SHAKER), false);
        QCOMPARE(f.rowEnabled(EffectsProfile::EFFECT_TYPE_SIMPLE_SPRING), true);
        QCOMPARE(f.combo->currentIndex(), 0);
        // The page shows the reset profile's defaults.
        auto *min = f.page(5)->findChild<QSpinBox *>(QStringLiteral("min_effect_frequency"));
        QCOMPARE(min->value(), 10);

        // A second effect is listed in type order, before the first.
        f.addEffect(EffectsProfile::EFFECT_TYPE_SIMPLE_SPRING);
        QCOMPARE(sudden.count(), 2);
        QCOMPARE(f.listed(), (QStringList{"Simple spring", "AoA shaker"}));
        QCOMPARE(f.list->currentIndex().row(), 0);
        QCOMPARE(f.stack->currentWidget(), f.page(EffectsProfile::EFFECT_TYPE_SIMPLE_SPRING));
    }

    void addingAnActiveEffectOnlyShowsItsPage() {
        Fixture f;
        f.addEffect(EffectsProfile::EFFECT_TYPE_NATURAL_AIRFLOW);
        f.widget.refresh();
        QCOMPARE(f.stack->currentWidget(), f.selectPage());
        QSignalSpy sudden(&f.widget, &AxisEffectsWidget::suddenSettingsChange);
        // Row 0 stays selected although it is disabled.
        QCOMPARE(f.combo->currentIndex(), 0);
        QTest::mouseClick(f.add, Qt::LeftButton);
        QCOMPARE(sudden.count(), 0);
        QCOMPARE(f.stack->currentWidget(), f.page(EffectsProfile::EFFECT_TYPE_NATURAL_AIRFLOW));
    }

    void nothingIsAddedWithoutAnOfferedSelection() {
        Fixture f;
        QSignalSpy sudden(&f.widget, &AxisEffectsWidget::suddenSettingsChange);
        f.combo->setCurrentIndex(-1);
        QTest::mouseClick(f.add, Qt::LeftButton);
        QCOMPARE(f.settings.airflowSpring.active, false);
        // A row hidden for the source, reached anyway, is not added.
        f.widget.setOfferedEffects(AxisEffectsWidget::effectsOfferedBy(Telemetry::TELEMETRY_SOURCE_MSFS));
        f.addEffect(EffectsProfile::EFFECT_TYPE_DIRECT_X_FFB);
        QCOMPARE(f.settings.directX.active, false);
        f.addEffect(EffectsProfile::EFFECT_TYPE_IL2_SHAKING);
        QCOMPARE(f.settings.il2Shaking.active, false);
        QCOMPARE(sudden.count(), 0);
        QCOMPARE(f.listed(), QStringList());
    }

    void editingIsAModerateChange() {
        Fixture f;
        f.addEffect(EffectsProfile::EFFECT_TYPE_EXTENDED_GEAR_SHAKER);
        QSignalSpy sudden(&f.widget, &AxisEffectsWidget::suddenSettingsChange);
        QSignalSpy moderate(&f.widget, &AxisEffectsWidget::moderateSettingsChange);
        auto *strength = f.page(6)->findChild<QSpinBox *>(QStringLiteral("total_effect_strength"));
        strength->setFocus();
        QTest::keyClick(strength, Qt::Key_Up);
        QCOMPARE(f.settings.gearShaker.total_effect_strength, 1.0f);
        QCOMPARE(moderate.count(), 1);
        QCOMPARE(sudden.count(), 0);
    }

    void removingResetsToTheDefaults() {
        Fixture f;
        f.addEffect(EffectsProfile::EFFECT_TYPE_AOA_SHAKER);
        f.addEffect(EffectsProfile::EFFECT_TYPE_SMART_DAMPER);
        f.settings.aoaShaker.total_effect_strength = 70;
        f.settings.aoaShaker.aoa.max = 40;
        QSignalSpy sudden(&f.widget, &AxisEffectsWidget::suddenSettingsChange);
        QSignalSpy moderate(&f.widget, &AxisEffectsWidget::moderateSettingsChange);
        f.list->setCurrentIndex(f.list->model()->index(0, 0));
        f.widget.listClicked(f.list->model()->index(0, 0));
        f.remove(EffectsProfile::EFFECT_TYPE_AOA_SHAKER);
        QCOMPARE(moderate.count(), 1);
        QCOMPARE(sudden.count(), 0);
        QCOMPARE(f.settings.aoaShaker.active, false);
        QCOMPARE(f.settings.aoaShaker.total_effect_strength, 0.0f);
        QCOMPARE(f.settings.aoaShaker.aoa.max, 15.0f);
        QCOMPARE(f.listed(), QStringList{QStringLiteral("Smart dampers")});
        QCOMPARE(f.stack->currentWidget(), f.selectPage());
        QCOMPARE(f.rowEnabled(EffectsProfile::EFFECT_TYPE_AOA_SHAKER), true);
        QCOMPARE(f.settings.smartDamper.active, true);
        // Added again, it shows its defaults.
        f.addEffect(EffectsProfile::EFFECT_TYPE_AOA_SHAKER);
        QCOMPARE(f.page(5)->findChild<QSpinBox *>(QStringLiteral("total_effect_strength"))->value(), 0);
        QCOMPARE(f.page(5)->findChild<QSpinBox *>(QStringLiteral("max_effect_strength_angle"))->value(), 15);
    }

    void removingTheCondorShakerKeepsItOn() {
        Fixture f;
        // The Condor shaker is offered for no source; it arrives only from a profile file.
        f.settings.condorShaker.active = true;
        f.settings.condorShaker.total_effect_strength = 40;
        f.settings.condorShaker.frequency = {1, 2, 3, 10, 20, 0};
        f.widget.refresh();
        QCOMPARE(f.listed(), QStringList{QStringLiteral("Condor 2 specific shaker")});
        f.widget.listClicked(f.list->model()->index(0, 0));
        QCOMPARE(f.stack->currentWidget(), f.page(EffectsProfile::EFFECT_TYPE_CONDOR_SHAKER));
        QSignalSpy moderate(&f.widget, &AxisEffectsWidget::moderateSettingsChange);
        f.remove(EffectsProfile::EFFECT_TYPE_CONDOR_SHAKER);
        QCOMPARE(moderate.count(), 1);
        QCOMPARE(f.settings.condorShaker.active, true);
        QCOMPARE(f.settings.condorShaker.total_effect_strength, 40.0f);
        QCOMPARE(f.settings.condorShaker.frequency.min, 10.0f);
        QCOMPARE(f.settings.condorShaker.frequency.max, 20.0f);
        QCOMPARE(f.listed(), QStringList{QStringLiteral("Condor 2 specific shaker")});
        QCOMPARE(f.stack->currentWidget(), f.page(EffectsProfile::EFFECT_TYPE_CONDOR_SHAKER));
    }

    void removingAnIl2ShakerFromAFile() {
        Fixture f;
        f.settings.il2Shaking.active = true;
        f.widget.refresh();
        f.widget.listClicked(f.list->model()->index(0, 0));
        QCOMPARE(f.stack->currentWidget(), f.page(EffectsProfile::EFFECT_TYPE_IL2_SHAKING));
        f.remove(EffectsProfile::EFFECT_TYPE_IL2_SHAKING);
        QCOMPARE(f.settings.il2Shaking.active, false);
        QCOMPARE(f.listed(), QStringList());
    }

    void clickingTheListShowsThePage() {
        Fixture f;
        f.addEffect(EffectsProfile::EFFECT_TYPE_DIRECT_X_FFB);
        f.addEffect(EffectsProfile::EFFECT_TYPE_ELEVATOR_WEIGHT);
        QCOMPARE(f.listed(), (QStringList{"Elevator weight", "Standard FFB (DirectX)"}));
        QVERIFY(QTest::qWaitForWindowExposed(&f.widget));
        const QRect second = f.list->visualRect(f.list->model()->index(1, 0));
        QTest::mouseClick(f.list->viewport(), Qt::LeftButton, Qt::NoModifier, second.center());
        QCOMPARE(f.stack->currentWidget(), f.page(EffectsProfile::EFFECT_TYPE_DIRECT_X_FFB));
        f.widget.listClicked(QModelIndex());
        QCOMPARE(f.stack->currentWidget(), f.page(EffectsProfile::EFFECT_TYPE_DIRECT_X_FFB));
    }

    void refreshShowsTheSettingsWithoutSignals() {
        Fixture f;
        QSignalSpy sudden(&f.widget, &AxisEffectsWidget::suddenSettingsChange);
        QSignalSpy moderate(&f.widget, &AxisEffectsWidget::moderateSettingsChange);
        f.settings.smartDamper.active = true;
        f.settings.simpleSpring.active = true;
        f.settings.simpleSpring.total_effect_strength = 250;
        f.settings.landingJolt.active = true;
        f.widget.refresh();
        QCOMPARE(f.listed(), (QStringList{"Simple spring", "Landing jolt shaker", "Smart dampers"}));
        QCOMPARE(f.stack->currentWidget(), f.selectPage());
        QCOMPARE(f.rowEnabled(1), false);
        QCOMPARE(f.rowEnabled(4), false);
        QCOMPARE(f.rowEnabled(12), false);
        QCOMPARE(f.rowEnabled(0), true);
        QCOMPARE(f.page(1)->findChild<QSpinBox *>(QStringLiteral("total_effect_strength"))->value(), 100);
        QCOMPARE(f.settings.simpleSpring.total_effect_strength, 250.0f);
        QCOMPARE(sudden.count(), 0);
        QCOMPARE(moderate.count(), 0);
    }
};

QTEST_MAIN(TestAxisEffectsEditor)
#include "tst_axiseffectseditor.moc"
