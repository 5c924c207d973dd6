#include "axiseffectswidget.h"
#include "profilereader.h"
#include "profilewriter.h"
#include "scratchworkingdirectory.h"
#include "threeaxiseffectswidget.h"

#include <QComboBox>
#include <QDir>
#include <QFile>
#include <QLineEdit>
#include <QListView>
#include <QPushButton>
#include <QSignalSpy>
#include <QJsonDocument>
#include <QJsonObject>
#include <QSlider>
#include <QSpinBox>
#include <QStackedWidget>
#include <QTabWidget>
#include <QtTest>

#ifdef __linux__
#include <fcntl.h>
#include <linux/fs.h>
#include <sys/ioctl.h>
#include <unistd.h>
#endif

namespace {
EffectsProfile makeProfile(int source, const QString &module, const QString &comment) {
    EffectsProfile profile;
    profile.reset();
    profile.metadata.source = Telemetry::Source(source);
    profile.metadata.flightModule = module;
    profile.metadata.comment = comment;
    return profile;
}

// The editor with its named parts, built inside the current working directory.
struct Editor {
    ThreeAxisEffectsWidget widget;
    QComboBox *game = widget.findChild<QComboBox *>(QStringLiteral("game_combo"));
    QLineEdit *module = widget.findChild<QLineEdit *>(QStringLiteral("flight_module_input"));
    QLineEdit *comment = widget.findChild<QLineEdit *>(QStringLiteral("profile_comment_input"));
    QComboBox *profiles = widget.findChild<QComboBox *>(QStringLiteral("profile_combo"));
    QPushButton *save = widget.findChild<QPushButton *>(QStringLiteral("save_profile"));
    QPushButton *remove = widget.findChild<QPushButton *>(QStringLiteral("delete_profile"));
    QTabWidget *tabs = widget.findChild<QTabWidget *>(QStringLiteral("tabWidget"));

    Editor() {
        widget.resize(600, 480);
        widget.show();
    }

    AxisEffectsWidget *axis(int i) const {
        const char *names[] = {"ailerons_effects_widget", "elevator_effects_widget", "rudder_effects_widget"};
        return widget.findChild<AxisEffectsWidget *>(QLatin1String(names[i]));
    }

    // What a user's pick in a combo box's list does: the row becomes current and "activated" is raised.
    static void choose(QComboBox *combo, int row) {
        combo->setCurrentIndex(row);
        emit combo->activated(row);
    }

    QStringList listed() const {
        QStringList texts;
        for (int row = 0; row < profiles->count(); ++row)
            texts.append(profiles->itemText(row));
        return texts;
    }

    void addEffect(int axisIndex, int type) {
        tabs->setCurrentIndex(axisIndex);
        axis(axisIndex)->findChild<QComboBox *>(QStringLiteral("effects_combo"))->setCurrentIndex(type);
        QTest::mouseClick(axis(axisIndex)->findChild<QPushButton *>(QStringLiteral("activate_effect_button")),
                          Qt::LeftButton);
    }
};

QByteArray fileContents(const QString &path) {
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

// What the editor's current profile holds, as file text: equal texts mean equal profiles.
QByteArray documentOf(const EffectsProfile &profile) {
    return ProfileWriter::profileDocument(profile);
}

QByteArray documentOf(const EffectsSettings &settings) {
    EffectsProfile profile;
    profile.settings = settings;
    return ProfileWriter::profileDocument(profile);
}

// Makes the profile folder impossible to write. Permissions do not stop root, so there the folder is
// replaced by a plain file of the same name instead.
bool blockProfileFolder(const ScratchWorkingDirectory &scratch) {
    const QString folder = scratch.path() + QStringLiteral("/effect_profiles");
    if (!QFile::setPermissions(folder, QFile::ReadOwner | QFile::ExeOwner))
        return false;
    QFile probe(folder + QStringLiteral("/probe"));
    if (!probe.open(QIODevice::WriteOnly))
        return true;
    probe.close();
    probe.remove();
    QFile::setPermissions(folder, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    if (!QDir(folder).removeRecursively())
        return false;
    QFile blocker(folder);
    return blocker.open(QIODevice::WriteOnly);
}
// Makes one existing profile file impossible to replace or change while the folder stays writable. Permissions
// do not stop root, so there the file is also marked immutable; the mark is taken off again at the end.
class LockedFile {
public:
    explicit LockedFile(const QString &path) : path(path) {
        QFile::setPermissions(path, QFile::ReadOwner | QFile::ReadGroup | QFile::ReadOther);
        QFile probe(path);
        if (!probe.open(QIODevice::WriteOnly | QIODevice::Append)) {
            locked = true;
            return;
        }
        probe.close();
#ifdef __linux__
        immutable = setImmutable(true);
        locked = immutable;
#endif
    }
    ~LockedFile() {
#ifdef __linux__
        if (immutable)
            setImmutable(false);
#endif
        QFile::setPermissions(path, QFile::ReadOwner | QFile::WriteOwner);
    }
    bool isLocked() const { return locked; }

private:
#ifdef __linux__
    bool setImmutable(bool on) {
        const int fd = ::open(QFile::encodeName(path).constData(), O_RDONLY);
        if (fd < 0)
            return false;
        int flags = 0;
        bool done = ::ioctl(fd, FS_IOC_GETFLAGS, &flags) == 0;
        if (done) {
            flags = on ? (flags | FS_IMMUTABLE_FL) : (flags & ~FS_IMMUTABLE_FL);
            done = ::ioctl(fd, FS_IOC_SETFLAGS, &flags) == 0;
        }
        ::close(fd);
        return done;
    }
    bool immutable = false;
#endif
    QString path;
    bool locked = false;
};
} // namespace

class TestProfileEditor : public QObject {
    Q_OBJECT

private slots:
    void formNamesAndTexts() {
        ScratchWorkingDirectory scratch;
        QVERIFY(scratch.isValid());
        Editor e;
        QVERIFY(e.game && e.module && e.comment && e.profiles && e.save && e.remove && e.tabs);
        QStringList games;
        for (int i = 0; i < e.game->count(); ++i)
            games.append(e.game->itemText(i));
        QCOMPARE(games, (QStringList{"DISABLED", "MSFS", "DCS", "IL2 SHTURMOVIK", "WARTHUNDER", "CONDOR2", "XPLANE"}));
        QCOMPARE(e.tabs->count(), 3);
        QCOMPARE(e.tabs->tabText(0), QStringLiteral("Ailerons"));
        QCOMPARE(e.tabs->tabText(1), QStringLiteral("Elevator"));
        QCOMPARE(e.tabs->tabText(2), QStringLiteral("Rudder"));
        for (int i = 0; i < 3; ++i)
            QCOMPARE(e.tabs->widget(i), static_cast<QWidget *>(e.axis(i)));
    }

    void constructionMakesTheFolderAndReadsTheList() {
        ScratchWorkingDirectory scratch(ScratchWorkingDirectory::WithoutProfileFolder);
        QVERIFY(scratch.isValid());
        {
            Editor e;
            QVERIFY(QFileInfo(scratch.path() + QStringLiteral("/effect_profiles")).isDir());
            QCOMPARE(e.profiles->count(), 0);
        }
        QVERIFY(scratch.writeProfile(
            QStringLiteral("b.json"),
            documentOf(makeProfile(1, QStringLiteral("Cessna 152"), QStringLiteral("soft")))));
        QVERIFY(scratch.writeProfile(QStringLiteral("a.json"),
                                     documentOf(makeProfile(2, QStringLiteral("A-10C"), {}))));
        QVERIFY(scratch.writeProfile(QStringLiteral("broken.json"), "not json"));
        Editor e;
        // Sorted by text; nothing is loaded or shown as loaded.
        QCOMPARE(e.listed(), (QStringList{"", "A-10C [DCS]", "Cessna 152 (soft)[MSFS]"}));
        QCOMPARE(e.profiles->currentIndex(), -1);
        QCOMPARE(e.profiles->itemData(1).toString(), QStringLiteral("a.json"));
        QCOMPARE(e.widget.profiles().keys(), (QStringList{"a.json", "b.json", "broken.json"}));
        QCOMPARE(e.widget.profiles().value(QStringLiteral("b.json")).comment, QStringLiteral("soft"));
        QCOMPARE(e.widget.currentProfile().metadata.source, Telemetry::TELEMETRY_SOURCE_NONE);
    }

    // The profile being edited starts reset, so a shaker added first has its default ranges.
    void startsFromTheDefaults() {
        ScratchWorkingDirectory scratch;
        QVERIFY(scratch.isValid());
        Editor e;
        const EffectsProfile &profile = e.widget.currentProfile();
        QCOMPARE(documentOf(profile), documentOf(makeProfile(0, {}, {})));
        QCOMPARE(profile.settings.elevator().aoaShaker.frequency.min, 10.0f);
        QCOMPARE(profile.settings.rudder().landingJolt.effect_time, int64_t(250));
        QCOMPARE(profile.settings.ailerons().airflowSpring.attenuationCurve[10].y, 1.0f);
        QCOMPARE(e.game->currentIndex(), 0);
        QCOMPARE(e.module->text(), QString());
        auto *page = e.axis(1)->findChild<QWidget *>(QStringLiteral("aoa_shaker_page"));
        QCOMPARE(page->findChild<QSpinBox *>(QStringLiteral("min_effect_frequency"))->value(), 10);
        QCOMPARE(page->findChild<QSpinBox *>(QStringLiteral("max_effect_frequency"))->value(), 20);
        QCOMPARE(page->findChild<QSpinBox *>(QStringLiteral("max_effect_strength_angle"))->value(), 15);
        QCOMPARE(e.widget.isProfileActivationEnabled(), true);
    }

    void metadataInputsEditTheProfile() {
        ScratchWorkingDirectory scratch;
        QVERIFY(scratch.isValid());
        Editor e;
        QTest::keyClicks(e.module, QStringLiteral("Cessna 152"));
        QTest::keyClicks(e.comment, QStringLiteral("soft"));
        Editor::choose(e.game, Telemetry::TELEMETRY_SOURCE_WARTHUNDER);
        QCOMPARE(e.widget.currentProfile().metadata.flightModule, QStringLiteral("Cessna 152"));
        QCOMPARE(e.widget.currentProfile().metadata.comment, QStringLiteral("soft"));
        QCOMPARE(e.widget.currentProfile().metadata.source, Telemetry::TELEMETRY_SOURCE_WARTHUNDER);
        // The source's set reaches every axis: War Thunder has no landing jolt or ground rolling.
        for (int i = 0; i < 3; ++i) {
            auto *combo = e.axis(i)->findChild<QComboBox *>(QStringLiteral("effects_combo"));
            auto *view = qobject_cast<QListView *>(combo->view());
            QCOMPARE(view->isRowHidden(EffectsProfile::EFFECT_TYPE_LANDING_JOLT), true);
            QCOMPARE(view->isRowHidden(EffectsProfile::EFFECT_TYPE_ON_GROUND_ROLLING_SHAKER), true);
            QCOMPARE(view->isRowHidden(EffectsProfile::EFFECT_TYPE_DIRECT_X_FFB), false);
        }
        Editor::choose(e.game, Telemetry::TELEMETRY_SOURCE_MSFS);
        auto *view = qobject_cast<QListView *>(
            e.axis(2)->findChild<QComboBox *>(QStringLiteral("effects_combo"))->view());
        QCOMPARE(view->isRowHidden(EffectsProfile::EFFECT_TYPE_LANDING_JOLT), false);
        QCOMPARE(view->isRowHidden(EffectsProfile::EFFECT_TYPE_DIRECT_X_FFB), true);
    }

    void editsAreRelayedWithTheWholeSettings() {
        ScratchWorkingDirectory scratch;
        QVERIFY(scratch.isValid());
        Editor e;
        QSignalSpy sudden(&e.widget, &ThreeAxisEffectsWidget::suddenValueChange);
        QSignalSpy moderate(&e.widget, &ThreeAxisEffectsWidget::moderateValueChange);
        e.addEffect(1, EffectsProfile::EFFECT_TYPE_ELEVATOR_WEIGHT);
        QCOMPARE(sudden.count(), 1);
        QCOMPARE(moderate.count(), 0);
        EffectsSettings sent = sudden.at(0).at(0).value<EffectsSettings>();
        QCOMPARE(sent.elevator().elevatorWeight.active, true);
        QCOMPARE(sent.ailerons().elevatorWeight.active, false);

        auto *page = e.axis(1)->findChild<QWidget *>(QStringLiteral("elevator_weight_page"));
        page->findChild<QSpinBox *>(QStringLiteral("total_effect_strength"))->setValue(65);
        QCOMPARE(moderate.count(), 1);
        sent = moderate.at(0).at(0).value<EffectsSettings>();
        QCOMPARE(sent.elevator().elevatorWeight.total_effect_strength, 65.0f);
        QCOMPARE(documentOf(sent), documentOf(e.widget.currentProfile().settings));

        QTest::mouseClick(page->findChild<QPushButton *>(QStringLiteral("elevator_weight_disable_button")),
                          Qt::LeftButton);
        QCOMPARE(moderate.count(), 2);
        QCOMPARE(sudden.count(), 1);
        sent = moderate.at(1).at(0).value<EffectsSettings>();
        QCOMPARE(sent.elevator().elevatorWeight.active, false);
        QCOMPARE(sent.elevator().elevatorWeight.total_effect_strength, 0.0f);
    }

    void savingWritesTheNamedFileAndLoadsIt() {
        ScratchWorkingDirectory scratch;
        QVERIFY(scratch.isValid());
        Editor e;
        QTest::keyClicks(e.module, QStringLiteral("F/A-18C Hornet"));
        e.addEffect(0, EffectsProfile::EFFECT_TYPE_SIMPLE_SPRING);
        e.addEffect(2, EffectsProfile::EFFECT_TYPE_SMART_DAMPER);
        const QByteArray expected = documentOf(e.widget.currentProfile());
        QSignalSpy sudden(&e.widget, &ThreeAxisEffectsWidget::suddenValueChange);
        QSignalSpy moderate(&e.widget, &ThreeAxisEffectsWidget::moderateValueChange);
        QSignalSpy listChanged(&e.widget, &ThreeAxisEffectsWidget::profileListChanged);
        QTest::mouseClick(e.save, Qt::LeftButton);
        const QString name = QStringLiteral("GENERIC_F_A_18C_Hornet.json");
        QCOMPARE(QDir(scratch.path() + QStringLiteral("/effect_profiles")).entryList(QDir::Files),
                 QStringList{name});
        QCOMPARE(fileContents(scratch.profilePath(name)), expected);
        QCOMPARE(listChanged.count(), 1);
        const auto index = listChanged.at(0).at(0).value<QMap<QString, EffectsProfileMetadata>>();
        QCOMPARE(index.keys(), QStringList{name});
        QCOMPARE(index.value(name).flightModule, QStringLiteral("F/A-18C Hornet"));
        // The entry just written is selected and loaded: one sudden change.
        QCOMPARE(e.profiles->currentIndex(), 0);
        QCOMPARE(e.profiles->currentText(), QStringLiteral("F/A-18C Hornet "));
        QCOMPARE(e.profiles->currentData().toString(), name);
        QCOMPARE(sudden.count(), 1);
        QCOMPARE(moderate.count(), 0);
        QCOMPARE(documentOf(sudden.at(0).at(0).value<EffectsSettings>()),
                 documentOf(e.widget.currentProfile().settings));
        QCOMPARE(e.widget.currentProfile().settings.ailerons().simpleSpring.active, true);

        // Saving again with the same metadata replaces the same file.
        e.addEffect(1, EffectsProfile::EFFECT_TYPE_AOA_SHAKER);
        QTest::mouseClick(e.save, Qt::LeftButton);
        QCOMPARE(e.profiles->count(), 1);
        QCOMPARE(fileContents(scratch.profilePath(name)), documentOf(e.widget.currentProfile()));
        QVERIFY(fileContents(scratch.profilePath(name)).contains("aoa_shaker"));
    }

    // Raising the start above the stored end through the boxes: the start stops one below the end, and
    // the boxes, the profile, what the worker is sent and the saved file all hold the same pair.
    void airflowAirspeedsKeepTheirOrderEverywhere() {
        ScratchWorkingDirectory scratch;
        QVERIFY(scratch.isValid());
        Editor e;
        e.addEffect(0, EffectsProfile::EFFECT_TYPE_NATURAL_AIRFLOW);
        auto *page = e.axis(0)->findChild<QWidget *>(QStringLiteral("natural_airflow_page"));
        auto *start = page->findChild<QSpinBox *>(QStringLiteral("attenuation_start_airspeed_spinner"));
        auto *end = page->findChild<QSpinBox *>(QStringLiteral("attenuation_end_airspeed_spinner"));
        auto *startSlider = page->findChild<QSlider *>(QStringLiteral("attenuation_start_airspeed_spinner_slider"));
        QVERIFY(start && end && startSlider);
        start->setValue(100);
        end->setValue(200);
        QSignalSpy moderate(&e.widget, &ThreeAxisEffectsWidget::moderateValueChange);
        start->setValue(300);
        QCOMPARE(start->value(), 199);
        QCOMPARE(end->value(), 200);
        QCOMPARE(start->maximum(), 199);
        QCOMPARE(end->minimum(), 200);
        const AirflowSpringSettings &held = e.widget.currentProfile().settings.ailerons().airflowSpring;
        QCOMPARE(held.attenuation_start_airspeed, 199.0f);
        QCOMPARE(held.attenuation_end_airspeed, 200.0f);
        QVERIFY(!moderate.isEmpty());
        const EffectsSettings sent = moderate.last().at(0).value<EffectsSettings>();
        QCOMPARE(sent.ailerons().airflowSpring.attenuation_start_airspeed, 199.0f);
        QCOMPARE(sent.ailerons().airflowSpring.attenuation_end_airspeed, 200.0f);
        for (int i = 0; i < AirflowSpringSettings::CurvePoints; ++i) {
            QVERIFY(std::isfinite(held.attenuationCurve[i].x));
            QVERIFY(std::isfinite(held.attenuationCurve[i].y));
        }

        // The slider is bound the same way, and lowering the end drags nothing the boxes do not show.
        startSlider->setValue(450);
        QCOMPARE(start->value(), 199);
        end->setValue(150);
        QCOMPARE(end->value(), 200);
        QCOMPARE(held.attenuation_end_airspeed, 200.0f);
        start->setValue(120);
        end->setValue(150);
        QCOMPARE(start->value(), 120);
        QCOMPARE(end->value(), 150);
        QCOMPARE(start->maximum(), 149);
        QCOMPARE(end->minimum(), 121);
        QCOMPARE(held.attenuation_start_airspeed, 120.0f);
        QCOMPARE(held.attenuation_end_airspeed, 150.0f);

        QTest::mouseClick(e.save, Qt::LeftButton);
        const QJsonObject spring = QJsonDocument::fromJson(fileContents(scratch.profilePath(
                                                               QStringLiteral("GENERIC.json"))))
                                       .object()
                                       .value(QStringLiteral("effects"))
                                       .toObject()
                                       .value(QStringLiteral("ailerons"))
                                       .toObject()
                                       .value(QStringLiteral("airflow_spring"))
                                       .toObject();
        QCOMPARE(spring.value(QStringLiteral("attenuation_start_airspeed")).toDouble(), 120.0);
        QCOMPARE(spring.value(QStringLiteral("attenuation_end_airspeed")).toDouble(), 150.0);
        // Loaded back, the boxes show the pair with the same ties.
        QCOMPARE(start->value(), 120);
        QCOMPARE(end->value(), 150);
        QCOMPARE(start->maximum(), 149);
        QCOMPARE(end->minimum(), 121);
    }

    void savingLosesTheValuesOfInactiveEffects() {
        ScratchWorkingDirectory scratch;
        QVERIFY(scratch.isValid());
        Editor e;
        e.addEffect(0, EffectsProfile::EFFECT_TYPE_SMART_DAMPER);
        auto *page = e.axis(0)->findChild<QWidget *>(QStringLiteral("smart_damper_page"));
        page->findChild<QSpinBox *>(QStringLiteral("static_dampening"))->setValue(40);
        QTest::mouseClick(page->findChild<QPushButton *>(QStringLiteral("smart_damper_disable_button")),
                          Qt::LeftButton);
        QTest::mouseClick(e.save, Qt::LeftButton);
        QVERIFY(QFile::exists(scratch.profilePath(QStringLiteral("GENERIC.json"))));
        QCOMPARE(e.widget.currentProfile().settings.ailerons().smartDamper.static_dampening, 0.0f);

        // Removing already reset the damper, so the writer is put to the test with a profile that holds an
        // inactive effect with edited values: it is loaded from a file that states them.
        EffectsProfile stored = makeProfile(0, QStringLiteral("Inactive"), {});
        stored.settings.ailerons().simpleSpring.active = true;
        QJsonObject document = QJsonDocument::fromJson(documentOf(stored)).object();
        QJsonObject effects = document.value(QStringLiteral("effects")).toObject();
        QJsonObject ailerons = effects.value(QStringLiteral("ailerons")).toObject();
        ailerons.insert(QStringLiteral("smart_damper"), QJsonObject{{"active", false},
                                                                    {"total_effect_strength", 70},
                                                                    {"static_dampening", 40},
                                                                    {"dynamic_dampening", 30}});
        effects.insert(QStringLiteral("ailerons"), ailerons);
        document.insert(QStringLiteral("effects"), effects);
        const QString name = QStringLiteral("GENERIC_Inactive.json");
        QVERIFY(scratch.writeProfile(name, QJsonDocument(document).toJson()));
        e.widget.readProfiles();
        Editor::choose(e.profiles, e.profiles->findData(name));
        const SmartDamperSettings &held = e.widget.currentProfile().settings.ailerons().smartDamper;
        QCOMPARE(held.active, false);
        QCOMPARE(held.static_dampening, 40.0f);
        QCOMPARE(held.dynamic_dampening, 30.0f);
        QTest::mouseClick(e.save, Qt::LeftButton);
        const QJsonObject written = QJsonDocument::fromJson(fileContents(scratch.profilePath(name)))
                                        .object()
                                        .value(QStringLiteral("effects"))
                                        .toObject()
                                        .value(QStringLiteral("ailerons"))
                                        .toObject();
        QVERIFY(written.contains(QStringLiteral("simple_spring")));
        QVERIFY(!written.contains(QStringLiteral("smart_damper")));
        // Loaded back after the save, the inactive damper has its defaults again.
        QCOMPARE(held.active, false);
        QCOMPARE(held.total_effect_strength, 0.0f);
        QCOMPARE(held.static_dampening, 0.0f);
        QCOMPARE(held.dynamic_dampening, 0.0f);
    }

    void loadingIsOneSuddenChangeAndNeverRewritesTheProfile() {
        ScratchWorkingDirectory scratch;
        QVERIFY(scratch.isValid());
        EffectsProfile stored = makeProfile(2, QStringLiteral("F-16C"), QStringLiteral("hard"));
        stored.settings.ailerons().simpleSpring.active = true;
        stored.settings.ailerons().simpleSpring.total_effect_strength = 150; // beyond the spin box
        stored.settings.elevator().gearShaker.active = true;
        stored.settings.elevator().gearShaker.speed = {700, 200, 0, 0, 1000, 0}; // min above max
        stored.settings.rudder().il2Shaking.active = true;                       // offered for no source
        QVERIFY(scratch.writeProfile(QStringLiteral("DCS_F_16C_hard.json"), documentOf(stored)));
        Editor e;
        QSignalSpy sudden(&e.widget, &ThreeAxisEffectsWidget::suddenValueChange);
        QSignalSpy moderate(&e.widget, &ThreeAxisEffectsWidget::moderateValueChange);
        Editor::choose(e.profiles, 0);
        QCOMPARE(sudden.count(), 1);
        QCOMPARE(moderate.count(), 0);
        QCOMPARE(documentOf(sudden.at(0).at(0).value<EffectsSettings>()), documentOf(stored.settings));
        QCOMPARE(documentOf(e.widget.currentProfile()), documentOf(stored));
        // Shown: the metadata, the source's effects and the active lists.
        QCOMPARE(e.game->currentIndex(), 2);
        QCOMPARE(e.module->text(), QStringLiteral("F-16C"));
        QCOMPARE(e.comment->text(), QStringLiteral("hard"));
        auto *list = e.axis(0)->findChild<QListView *>(QStringLiteral("active_effects_list"));
        QCOMPARE(list->model()->rowCount(), 1);
        QCOMPARE(list->model()->index(0, 0).data().toString(), QStringLiteral("Simple spring"));
        auto *rudderList = e.axis(2)->findChild<QListView *>(QStringLiteral("active_effects_list"));
        QCOMPARE(rudderList->model()->index(0, 0).data().toString(),
                 QStringLiteral("IL2 Sturmovik specific shaker"));
        auto *spring = e.axis(0)->findChild<QWidget *>(QStringLiteral("simple_spring_page"));
        QCOMPARE(spring->findChild<QSpinBox *>(QStringLiteral("total_effect_strength"))->value(), 100);
        auto *gear = e.axis(1)->findChild<QWidget *>(QStringLiteral("extended_gear_shaker_page"));
        QCOMPARE(gear->findChild<QSpinBox *>(QStringLiteral("max_effect_strength_speed"))->value(), 200);
        QCOMPARE(e.axis(0)->findChild<QStackedWidget *>()->currentWidget()->objectName(),
                 QStringLiteral("select_effect_page"));
        // The shown, clamped values did not reach the profile.
        QCOMPARE(e.widget.currentProfile().settings.ailerons().simpleSpring.total_effect_strength, 150.0f);
        QCOMPARE(e.widget.currentProfile().settings.elevator().gearShaker.speed.min, 700.0f);
        QCOMPARE(sudden.count(), 1);
        QCOMPARE(moderate.count(), 0);
    }

    void loadingAnUnknownSourceOrABrokenFile() {
        ScratchWorkingDirectory scratch;
        QVERIFY(scratch.isValid());
        QVERIFY(scratch.writeProfile(
            QStringLiteral("odd.json"),
            R"({"metadata": {"flight_data_source": 7, "flight_module": "X"}, "effects": {}})"));
        QVERIFY(scratch.writeProfile(QStringLiteral("zz.json"), "{{{"));
        Editor e;
        QCOMPARE(e.listed(), (QStringList{"", "X "}));
        QSignalSpy sudden(&e.widget, &ThreeAxisEffectsWidget::suddenValueChange);
        Editor::choose(e.profiles, 1);
        QCOMPARE(int(e.widget.currentProfile().metadata.source), 7);
        QCOMPARE(e.game->currentIndex(), -1);
        auto *view = qobject_cast<QListView *>(
            e.axis(0)->findChild<QComboBox *>(QStringLiteral("effects_combo"))->view());
        QCOMPARE(view->isRowHidden(EffectsProfile::EFFECT_TYPE_DIRECT_X_FFB), false);
        Editor::choose(e.profiles, 0);
        QCOMPARE(sudden.count(), 2);
        QCOMPARE(documentOf(e.widget.currentProfile()), documentOf(makeProfile(0, {}, {})));
        QCOMPARE(e.game->currentIndex(), 0);
        QCOMPARE(e.module->text(), QString());
    }

    void deletingRemovesTheFileAndResetsWithoutTellingTheWorker() {
        ScratchWorkingDirectory scratch;
        QVERIFY(scratch.isValid());
        EffectsProfile stored = makeProfile(1, QStringLiteral("Cessna 152"), QStringLiteral("soft"));
        stored.settings.elevator().simpleSpring.active = true;
        QVERIFY(scratch.writeProfile(QStringLiteral("MSFS_Cessna_152_soft.json"), documentOf(stored)));
        QVERIFY(scratch.writeProfile(QStringLiteral("other.json"),
                                     documentOf(makeProfile(2, QStringLiteral("A"), {}))));
        Editor e;
        const int row = e.profiles->findData(QStringLiteral("MSFS_Cessna_152_soft.json"));
        Editor::choose(e.profiles, row);
        QCOMPARE(e.widget.currentProfile().settings.elevator().simpleSpring.active, true);
        QSignalSpy sudden(&e.widget, &ThreeAxisEffectsWidget::suddenValueChange);
        QSignalSpy moderate(&e.widget, &ThreeAxisEffectsWidget::moderateValueChange);
        QSignalSpy listChanged(&e.widget, &ThreeAxisEffectsWidget::profileListChanged);
        QTest::mouseClick(e.remove, Qt::LeftButton);
        QVERIFY(!QFile::exists(scratch.profilePath(QStringLiteral("MSFS_Cessna_152_soft.json"))));
        QVERIFY(QFile::exists(scratch.profilePath(QStringLiteral("other.json"))));
        QCOMPARE(listChanged.count(), 1);
        QCOMPARE(e.listed(), QStringList{QStringLiteral("A [DCS]")});
        QCOMPARE(e.profiles->currentIndex(), -1);
        QCOMPARE(documentOf(e.widget.currentProfile()), documentOf(makeProfile(0, {}, {})));
        QCOMPARE(e.module->text(), QString());
        QCOMPARE(e.comment->text(), QString());
        QCOMPARE(e.game->currentIndex(), 0);
        QCOMPARE(e.axis(1)->findChild<QListView *>()->model()->rowCount(), 0);
        QCOMPARE(sudden.count(), 0);
        QCOMPARE(moderate.count(), 0);
    }

    void deletingWithNothingSelectedDoesNothing() {
        ScratchWorkingDirectory scratch;
        QVERIFY(scratch.isValid());
        QVERIFY(scratch.writeProfile(QStringLiteral("a.json"),
                                     documentOf(makeProfile(2, QStringLiteral("A"), {}))));
        Editor e;
        QTest::keyClicks(e.module, QStringLiteral("unsaved"));
        QCOMPARE(e.profiles->currentIndex(), -1);
        QTest::mouseClick(e.remove, Qt::LeftButton);
        QVERIFY(QFile::exists(scratch.profilePath(QStringLiteral("a.json"))));
        QCOMPARE(e.widget.currentProfile().metadata.flightModule, QStringLiteral("unsaved"));
    }

    void automaticActivationPicksTheFirstMatchingFileName() {
        ScratchWorkingDirectory scratch;
        QVERIFY(scratch.isValid());
        QVERIFY(
            scratch.writeProfile(QStringLiteral("DCS_F_16C_b.json"),
                                 documentOf(makeProfile(2, QStringLiteral("F-16C"), QStringLiteral("b")))));
        QVERIFY(
            scratch.writeProfile(QStringLiteral("DCS_F_16C_a.json"),
                                 documentOf(makeProfile(2, QStringLiteral("F-16C"), QStringLiteral("a")))));
        QVERIFY(scratch.writeProfile(QStringLiteral("DCS.json"), documentOf(makeProfile(2, {}, {}))));
        Editor e;
        QSignalSpy sudden(&e.widget, &ThreeAxisEffectsWidget::suddenValueChange);
        e.widget.activateProfileFor(Telemetry::TELEMETRY_SOURCE_DCS, QStringLiteral("F-16C"));
        QCOMPARE(sudden.count(), 1);
        QCOMPARE(e.widget.currentProfile().metadata.comment, QStringLiteral("a"));
        QCOMPARE(e.profiles->currentData().toString(), QStringLiteral("DCS_F_16C_a.json"));
        QCOMPARE(e.comment->text(), QStringLiteral("a"));

        // Letter case must match; a source alone never matches a profile with a module.
        e.widget.activateProfileFor(Telemetry::TELEMETRY_SOURCE_DCS, QStringLiteral("f-16c"));
        e.widget.activateProfileFor(Telemetry::TELEMETRY_SOURCE_DCS, QStringLiteral("A-10C"));
        e.widget.activateProfileFor(Telemetry::TELEMETRY_SOURCE_MSFS, QStringLiteral("F-16C"));
        e.widget.activateProfileFor(Telemetry::TELEMETRY_SOURCE_NONE, QString());
        QCOMPARE(sudden.count(), 1);
        QCOMPARE(e.widget.currentProfile().metadata.comment, QStringLiteral("a"));
        // An empty module picks the simulator-wide profile.
        e.widget.activateProfileFor(Telemetry::TELEMETRY_SOURCE_DCS, QString());
        QCOMPARE(sudden.count(), 2);
        QCOMPARE(e.profiles->currentData().toString(), QStringLiteral("DCS.json"));
    }

    void activationFlagStopsAutomaticActivation() {
        ScratchWorkingDirectory scratch;
        QVERIFY(scratch.isValid());
        QVERIFY(scratch.writeProfile(QStringLiteral("x.json"),
                                     documentOf(makeProfile(5, QStringLiteral("ASW28"), {}))));
        Editor e;
        QSignalSpy sudden(&e.widget, &ThreeAxisEffectsWidget::suddenValueChange);
        e.widget.disableProfileActivation();
        QCOMPARE(e.widget.isProfileActivationEnabled(), false);
        e.widget.activateProfileFor(Telemetry::TELEMETRY_SOURCE_CONDOR, QStringLiteral("ASW28"));
        QCOMPARE(sudden.count(), 0);
        QCOMPARE(e.profiles->currentIndex(), -1);
        QCOMPARE(e.widget.currentProfile().metadata.source, Telemetry::TELEMETRY_SOURCE_NONE);
        e.widget.enableProfileActivation();
        e.widget.activateProfileFor(Telemetry::TELEMETRY_SOURCE_CONDOR, QStringLiteral("ASW28"));
        QCOMPARE(sudden.count(), 1);
        QCOMPARE(e.widget.currentProfile().metadata.source, Telemetry::TELEMETRY_SOURCE_CONDOR);
    }

    void activationWithAnEmptyFolderDoesNothing() {
        ScratchWorkingDirectory scratch;
        QVERIFY(scratch.isValid());
        Editor e;
        QSignalSpy sudden(&e.widget, &ThreeAxisEffectsWidget::suddenValueChange);
        e.widget.activateProfileFor(Telemetry::TELEMETRY_SOURCE_DCS, QString());
        QCOMPARE(sudden.count(), 0);
    }

    // On a case-sensitive file system two names may differ only in case: the exact one is selected.
    void selectionPrefersTheExactFileName() {
        ScratchWorkingDirectory scratch;
        QVERIFY(scratch.isValid());
        QVERIFY(scratch.writeProfile(QStringLiteral("msfs_A.json"),
                                     documentOf(makeProfile(1, QStringLiteral("X"), QStringLiteral("aa")))));
        QVERIFY(scratch.writeProfile(QStringLiteral("MSFS_a.json"),
                                     documentOf(makeProfile(1, QStringLiteral("X"), QStringLiteral("zz")))));
        Editor e;
        QCOMPARE(e.profiles->itemData(0).toString(), QStringLiteral("msfs_A.json"));
        e.widget.activateProfileFor(Telemetry::TELEMETRY_SOURCE_MSFS, QStringLiteral("X"));
        QCOMPARE(e.profiles->currentData().toString(), QStringLiteral("MSFS_a.json"));
        QCOMPARE(e.widget.currentProfile().metadata.comment, QStringLiteral("zz"));
    }

    // An existing profile that cannot be replaced, in a folder that can be written: saving over it fails, the
    // old file stays as it was, the edits stay in the editor, and the editor goes on working.
    void aReadOnlyProfileFileStaysAndTheEditorGoesOn() {
        ScratchWorkingDirectory scratch;
        QVERIFY(scratch.isValid());
        EffectsProfile stored = makeProfile(0, QStringLiteral("Cessna 152"), {});
        stored.settings.ailerons().simpleSpring.active = true;
        const QString name = QStringLiteral("GENERIC_Cessna_152.json");
        QVERIFY(scratch.writeProfile(name, documentOf(stored)));
        const QByteArray old = fileContents(scratch.profilePath(name));
        Editor e;
        Editor::choose(e.profiles, e.profiles->findData(name));
        QCOMPARE(e.widget.currentProfile().settings.ailerons().simpleSpring.active, true);
        LockedFile lock(scratch.profilePath(name));
        QVERIFY2(lock.isLocked(), "the profile file could not be made read-only");

        e.addEffect(1, EffectsProfile::EFFECT_TYPE_AOA_SHAKER);
        const QByteArray edited = documentOf(e.widget.currentProfile());
        QSignalSpy sudden(&e.widget, &ThreeAxisEffectsWidget::suddenValueChange);
        QSignalSpy listChanged(&e.widget, &ThreeAxisEffectsWidget::profileListChanged);
        QTest::mouseClick(e.save, Qt::LeftButton);
        QCOMPARE(fileContents(scratch.profilePath(name)), old);
        QCOMPARE(QDir(scratch.path() + QStringLiteral("/effect_profiles")).entryList(QDir::Files),
                 QStringList{name});
        QCOMPARE(listChanged.count(), 1);
        QCOMPARE(sudden.count(), 0); // the old file was not loaded over the edits
        QCOMPARE(documentOf(e.widget.currentProfile()), edited);
        QCOMPARE(e.listed(), QStringList{QStringLiteral("Cessna 152 ")});

        // Still usable: edits reach the worker, and another name saves.
        e.addEffect(2, EffectsProfile::EFFECT_TYPE_SMART_DAMPER);
        QCOMPARE(sudden.count(), 1);
        QCOMPARE(e.widget.currentProfile().settings.rudder().smartDamper.active, true);
        e.comment->clear();
        QTest::keyClicks(e.comment, QStringLiteral("copy"));
        QTest::mouseClick(e.save, Qt::LeftButton);
        QCOMPARE(fileContents(scratch.profilePath(QStringLiteral("GENERIC_Cessna_152_copy.json"))),
                 documentOf(e.widget.currentProfile()));
        QCOMPARE(fileContents(scratch.profilePath(name)), old);
    }

    // The selected profile's file is gone before "Delete" is pressed (removed by hand meanwhile): nothing
    // breaks, the list drops it, the editor starts over and keeps working.
    void deletingAProfileWhoseFileHasVanished() {
        ScratchWorkingDirectory scratch;
        QVERIFY(scratch.isValid());
        EffectsProfile stored = makeProfile(2, QStringLiteral("F-16C"), {});
        stored.settings.ailerons().simpleSpring.active = true;
        QVERIFY(scratch.writeProfile(QStringLiteral("DCS_F_16C.json"), documentOf(stored)));
        QVERIFY(scratch.writeProfile(QStringLiteral("other.json"),
                                     documentOf(makeProfile(2, QStringLiteral("A"), {}))));
        Editor e;
        Editor::choose(e.profiles, e.profiles->findData(QStringLiteral("DCS_F_16C.json")));
        QCOMPARE(e.widget.currentProfile().metadata.flightModule, QStringLiteral("F-16C"));
        QVERIFY(QFile::remove(scratch.profilePath(QStringLiteral("DCS_F_16C.json"))));

        QSignalSpy sudden(&e.widget, &ThreeAxisEffectsWidget::suddenValueChange);
        QSignalSpy moderate(&e.widget, &ThreeAxisEffectsWidget::moderateValueChange);
        QSignalSpy listChanged(&e.widget, &ThreeAxisEffectsWidget::profileListChanged);
        QTest::mouseClick(e.remove, Qt::LeftButton);
        QCOMPARE(listChanged.count(), 1);
        QCOMPARE(e.listed(), QStringList{QStringLiteral("A [DCS]")});
        QCOMPARE(e.profiles->currentIndex(), -1);
        QCOMPARE(documentOf(e.widget.currentProfile()), documentOf(makeProfile(0, {}, {})));
        QVERIFY(QFile::exists(scratch.profilePath(QStringLiteral("other.json"))));
        QCOMPARE(sudden.count(), 0);
        QCOMPARE(moderate.count(), 0);

        e.addEffect(0, EffectsProfile::EFFECT_TYPE_SIMPLE_SPRING);
        QCOMPARE(sudden.count(), 1);
        QTest::mouseClick(e.remove, Qt::LeftButton); // nothing selected now
        QCOMPARE(listChanged.count(), 1);
        QCOMPARE(e.widget.currentProfile().settings.ailerons().simpleSpring.active, true);
    }

    void anUnwritableFolderLosesNothing() {
        ScratchWorkingDirectory scratch;
        QVERIFY(scratch.isValid());
        Editor e;
        QVERIFY(blockProfileFolder(scratch));
        QTest::keyClicks(e.module, QStringLiteral("Cessna 152"));
        e.addEffect(0, EffectsProfile::EFFECT_TYPE_SIMPLE_SPRING);
        const QByteArray before = documentOf(e.widget.currentProfile());
        QSignalSpy sudden(&e.widget, &ThreeAxisEffectsWidget::suddenValueChange);
        QSignalSpy listChanged(&e.widget, &ThreeAxisEffectsWidget::profileListChanged);
        QTest::mouseClick(e.save, Qt::LeftButton);
        QVERIFY(!QFile::exists(scratch.profilePath(QStringLiteral("GENERIC_Cessna_152.json"))));
        QCOMPARE(listChanged.count(), 1);
        QCOMPARE(sudden.count(), 0);
        QCOMPARE(e.profiles->currentIndex(), -1);
        QCOMPARE(documentOf(e.widget.currentProfile()), before);
        QCOMPARE(e.module->text(), QStringLiteral("Cessna 152"));
        // Still usable.
        e.addEffect(1, EffectsProfile::EFFECT_TYPE_AOA_SHAKER);
        QCOMPARE(sudden.count(), 1);
        QCOMPARE(e.widget.currentProfile().settings.elevator().aoaShaker.active, true);
    }
};

QTEST_MAIN(TestProfileEditor)
#include "tst_profileeditor.moc"
