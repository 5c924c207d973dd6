#include "aircraftclass.h"
#include "classtemplatebar.h"
#include "profilestore.h"
#include "profilewriter.h"
#include "scratchworkingdirectory.h"
#include "threeaxiseffectswidget.h"

#include <QComboBox>
#include <QLabel>
#include <QLineEdit>
#include <QMenu>
#include <QPushButton>
#include <QSignalSpy>
#include <QtTest>

// The bar for a detected aircraft without a profile, over a real editor in a scratch working directory, and
// the editor's "New from template".
namespace {
EffectsProfile templateOf(AircraftClass aircraftClass) {
    EffectsProfile profile;
    AircraftClasses::loadTemplate(aircraftClass, profile);
    return profile;
}

QByteArray settingsBytes(const EffectsSettings &settings) {
    EffectsProfile profile;
    profile.settings = settings;
    return ProfileWriter::profileDocument(profile);
}

struct Window {
    QWidget holder;
    ThreeAxisEffectsWidget *editor = new ThreeAxisEffectsWidget(&holder);
    ClassTemplateBar bar;
    QComboBox *chooser = bar.findChild<QComboBox *>(QStringLiteral("class_chooser"));
    QPushButton *create = bar.findChild<QPushButton *>(QStringLiteral("create_profile"));
    QPushButton *notNow = bar.findChild<QPushButton *>(QStringLiteral("not_now"));
    QSignalSpy sudden{editor, &ThreeAxisEffectsWidget::suddenValueChange};

    explicit Window(bool useTemplate = false) : bar(editor, useTemplate) {
        holder.show();
        bar.show(); // shown only while it has something to say: it hides itself at once
        bar.hide();
    }
    void detect(Telemetry::Source source, const QString &module) {
        editor->activateProfileFor(source, module);
        bar.aircraftDetected(source, module);
    }
};
} // namespace

class TestClassTemplateBar : public QObject {
    Q_OBJECT

private slots:
    void shownWithTheSuggestionForAnAircraftWithoutProfile() {
        ScratchWorkingDirectory dir;
        Window window;
        window.detect(Telemetry::TELEMETRY_SOURCE_DCS, QStringLiteral("F-16C_50"));
        QVERIFY(!window.bar.isHidden());
        QCOMPARE(window.bar.text(), QStringLiteral("No profile for F-16C_50 (DCS) — forces are off"));
        QCOMPARE(window.chooser->currentText(), QStringLiteral("Jet"));
        QVERIFY(window.create->isEnabled());
        QCOMPARE(window.sudden.size(), 0); // nothing changes without the user
        QVERIFY(ProfileStore::profileFiles().isEmpty());
    }

    void unknownAircraftHasNoPreset() {
        ScratchWorkingDirectory dir;
        Window window;
        window.detect(Telemetry::TELEMETRY_SOURCE_DCS, QStringLiteral("Mystery-1"));
        QVERIFY(!window.bar.isHidden());
        QCOMPARE(window.chooser->currentIndex(), -1);
        QVERIFY(!window.create->isEnabled());
        window.chooser->setCurrentIndex(window.chooser->findText(QStringLiteral("Glider")));
        QVERIFY(window.create->isEnabled());
        QCOMPARE(window.sudden.size(), 0);
    }

    void createSavesLoadsAndSendsTheTemplate() {
        ScratchWorkingDirectory dir;
        Window window;
        window.detect(Telemetry::TELEMETRY_SOURCE_DCS, QStringLiteral("Ka-50"));
        QCOMPARE(window.chooser->currentText(), QStringLiteral("Helicopter"));
        window.create->click();
        QVERIFY(window.bar.isHidden());
        QCOMPARE(ProfileStore::profileFiles(), QStringList{QStringLiteral("DCS_Ka_50.json")});
        EffectsProfile saved;
        ProfileStore::readProfileFile(QStringLiteral("DCS_Ka_50.json"), saved);
        QCOMPARE(saved.metadata.source, Telemetry::TELEMETRY_SOURCE_DCS);
        QCOMPARE(saved.metadata.flightModule, QStringLiteral("Ka-50"));
        QCOMPARE(saved.metadata.comment, QString());
        QCOMPARE(settingsBytes(saved.settings),
                 settingsBytes(templateOf(AircraftClass::Helicopter).settings));
        // Loaded by its file name: one sudden change with the template's settings.
        QCOMPARE(window.sudden.size(), 1);
        QCOMPARE(settingsBytes(window.sudden.at(0).at(0).value<EffectsSettings>()),
                 settingsBytes(templateOf(AircraftClass::Helicopter).settings));
        QCOMPARE(window.editor->loadedProfileText(), QStringLiteral("Ka-50 [DCS]"));
        QCOMPARE(window.editor->templateInUse(), AircraftClass::None);
        // Detected again: automatic activation picks the new file by itself, and the bar stays away.
        window.detect(Telemetry::TELEMETRY_SOURCE_DCS, QStringLiteral("Ka-50"));
        QVERIFY(window.bar.isHidden());
        QCOMPARE(window.sudden.size(), 2);
    }

    void anotherClassChosenBeforeCreate() {
        ScratchWorkingDirectory dir;
        Window window;
        window.detect(Telemetry::TELEMETRY_SOURCE_DCS, QStringLiteral("F-16C_50"));
        window.chooser->setCurrentIndex(window.chooser->findText(QStringLiteral("Heavy")));
        window.create->click();
        EffectsProfile saved;
        ProfileStore::readProfileFile(QStringLiteral("DCS_F_16C_50.json"), saved);
        QCOMPARE(settingsBytes(saved.settings), settingsBytes(templateOf(AircraftClass::Heavy).settings));
    }

    void notNowUntilAnotherAircraft() {
        ScratchWorkingDirectory dir;
        Window window;
        window.detect(Telemetry::TELEMETRY_SOURCE_DCS, QStringLiteral("F-16C_50"));
        window.notNow->click();
        QVERIFY(window.bar.isHidden());
        window.detect(Telemetry::TELEMETRY_SOURCE_DCS, QStringLiteral("F-16C_50"));
        QVERIFY(window.bar.isHidden());
        window.detect(Telemetry::TELEMETRY_SOURCE_MSFS, QStringLiteral("F-16C_50"));
        QVERIFY(!window.bar.isHidden());
        QCOMPARE(window.bar.text(), QStringLiteral("No profile for F-16C_50 (MSFS) — forces are off"));
        window.notNow->click();
        window.detect(Telemetry::TELEMETRY_SOURCE_DCS, QStringLiteral("F-16C_50"));
        QVERIFY(!window.bar.isHidden());
        QCOMPARE(window.sudden.size(), 0);
        QVERIFY(ProfileStore::profileFiles().isEmpty());
    }

    void noBarWhenAProfileMatchesOrActivationIsOff() {
        ScratchWorkingDirectory dir;
        EffectsProfile own;
        own.reset();
        own.metadata =
            EffectsProfileMetadata{Telemetry::TELEMETRY_SOURCE_DCS, QStringLiteral("F-16C_50"), QString()};
        QVERIFY(ProfileStore::writeProfileFile(QStringLiteral("DCS_F_16C_50.json"), own));
        Window window(true);
        window.detect(Telemetry::TELEMETRY_SOURCE_DCS, QStringLiteral("F-16C_50"));
        QVERIFY(window.bar.isHidden());
        QCOMPARE(window.sudden.size(), 1); // the user's profile, not the template
        QCOMPARE(window.editor->templateInUse(), AircraftClass::None);

        window.editor->disableProfileActivation();
        window.detect(Telemetry::TELEMETRY_SOURCE_DCS, QStringLiteral("A-10C_2"));
        QVERIFY(window.bar.isHidden());
        QCOMPARE(window.sudden.size(), 1);
        window.detect(Telemetry::TELEMETRY_SOURCE_NONE, QString());
        QVERIFY(window.bar.isHidden());
    }

    void barLeavesWhenActivationIsSwitchedOff() {
        ScratchWorkingDirectory dir;
        Window window;
        window.detect(Telemetry::TELEMETRY_SOURCE_CONDOR, QString());
        QVERIFY(!window.bar.isHidden());
        QCOMPARE(window.bar.text(), QStringLiteral("No profile for  (CONDOR2) — forces are off"));
        QCOMPARE(window.chooser->currentText(), QStringLiteral("Glider"));
        window.editor->disableProfileActivation();
        window.bar.activationDisabled();
        QVERIFY(window.bar.isHidden());
    }

    void usingTheProfileOfTheLoadedOne() {
        ScratchWorkingDirectory dir;
        EffectsProfile own;
        own.reset();
        own.metadata =
            EffectsProfileMetadata{Telemetry::TELEMETRY_SOURCE_DCS, QStringLiteral("P-51D"), QString()};
        QVERIFY(ProfileStore::writeProfileFile(QStringLiteral("DCS_P_51D.json"), own));
        Window window;
        window.detect(Telemetry::TELEMETRY_SOURCE_DCS, QStringLiteral("P-51D"));
        window.detect(Telemetry::TELEMETRY_SOURCE_DCS, QStringLiteral("Bf-109K-4"));
        QCOMPARE(window.bar.text(),
                 QStringLiteral("No profile for Bf-109K-4 (DCS) — using the profile of P-51D [DCS]"));
        QCOMPARE(window.chooser->currentText(), QStringLiteral("Propeller"));
    }

    void classTemplateSettingUsesTheTemplateUnsaved() {
        ScratchWorkingDirectory dir;
        Window window(true);
        window.detect(Telemetry::TELEMETRY_SOURCE_DCS, QStringLiteral("F-16C_50"));
        QCOMPARE(window.bar.text(),
                 QStringLiteral("No profile for F-16C_50 (DCS) — using the Jet template (not saved)"));
        QCOMPARE(window.sudden.size(), 1);
        QCOMPARE(settingsBytes(window.sudden.at(0).at(0).value<EffectsSettings>()),
                 settingsBytes(templateOf(AircraftClass::Jet).settings));
        QVERIFY(ProfileStore::profileFiles().isEmpty());
        QCOMPARE(window.editor->currentProfile().metadata.flightModule, QStringLiteral("F-16C_50"));
        // Each new aircraft without a profile gets its own class's template.
        window.detect(Telemetry::TELEMETRY_SOURCE_DCS, QStringLiteral("UH-1H"));
        QCOMPARE(window.sudden.size(), 2);
        QCOMPARE(settingsBytes(window.sudden.at(1).at(0).value<EffectsSettings>()),
                 settingsBytes(templateOf(AircraftClass::Helicopter).settings));
        QCOMPARE(window.bar.text(),
                 QStringLiteral("No profile for UH-1H (DCS) — using the Helicopter template (not saved)"));
        // One with no suggestion leaves the current settings as they are.
        window.detect(Telemetry::TELEMETRY_SOURCE_DCS, QStringLiteral("Mystery-1"));
        QCOMPARE(window.sudden.size(), 2);
        QCOMPARE(
            window.bar.text(),
            QStringLiteral("No profile for Mystery-1 (DCS) — using the Helicopter template (not saved)"));
        QVERIFY(ProfileStore::profileFiles().isEmpty());
    }

    void settingSwitchedOnAppliesAtOnceAndOffKeepsTheForces() {
        ScratchWorkingDirectory dir;
        Window window;
        window.detect(Telemetry::TELEMETRY_SOURCE_DCS, QStringLiteral("P-51D"));
        QCOMPARE(window.sudden.size(), 0);
        window.bar.setUseClassTemplate(true);
        QCOMPARE(window.sudden.size(), 1);
        QCOMPARE(window.editor->templateInUse(), AircraftClass::Propeller);
        window.bar.setUseClassTemplate(false);
        QCOMPARE(window.sudden.size(), 1);
        // Off: the next aircraft without a profile is left as the specified behaviour leaves it.
        window.detect(Telemetry::TELEMETRY_SOURCE_DCS, QStringLiteral("F-16C_50"));
        QCOMPARE(window.sudden.size(), 1);
    }

    void msfsFactsBeforeOrAfterTheDetection() {
        ScratchWorkingDirectory dir;
        Window window(true);
        AircraftFacts helicopter;
        helicopter.msfsCategory = QStringLiteral("Helicopter");
        helicopter.msfsEngineType = 3;
        helicopter.msfsAtcHeavy = 0;
        // Told before the detection reached the window.
        window.bar.factsReported(Telemetry::TELEMETRY_SOURCE_MSFS, QStringLiteral("H135"), helicopter);
        window.detect(Telemetry::TELEMETRY_SOURCE_MSFS, QStringLiteral("H135"));
        QCOMPARE(window.chooser->currentText(), QStringLiteral("Helicopter"));
        QCOMPARE(window.bar.text(),
                 QStringLiteral("No profile for H135 (MSFS) — using the Helicopter template (not saved)"));
        QCOMPARE(window.sudden.size(), 1);

        // Detected first, told after: the suggestion follows at once.
        window.detect(Telemetry::TELEMETRY_SOURCE_MSFS, QStringLiteral("Boeing 747-8"));
        QCOMPARE(window.chooser->currentIndex(), -1);
        QCOMPARE(window.sudden.size(), 1);
        AircraftFacts heavy;
        heavy.msfsCategory = QStringLiteral("Airplane");
        heavy.msfsEngineType = 1;
        heavy.msfsAtcHeavy = 1;
        window.bar.factsReported(Telemetry::TELEMETRY_SOURCE_MSFS, QStringLiteral("Boeing 747-8"), heavy);
        QCOMPARE(window.chooser->currentText(), QStringLiteral("Heavy"));
        QCOMPARE(window.sudden.size(), 2);
        QCOMPARE(settingsBytes(window.sudden.at(1).at(0).value<EffectsSettings>()),
                 settingsBytes(templateOf(AircraftClass::Heavy).settings));
        // Facts of another aircraft change nothing now.
        window.bar.factsReported(Telemetry::TELEMETRY_SOURCE_MSFS, QStringLiteral("H135"), helicopter);
        QCOMPARE(window.chooser->currentText(), QStringLiteral("Heavy"));
        QCOMPARE(window.sudden.size(), 2);
    }

    void newFromTemplateKeepsTheMetadata() {
        ScratchWorkingDirectory dir;
        Window window;
        auto *module = window.editor->findChild<QLineEdit *>(QStringLiteral("flight_module_input"));
        auto *comment = window.editor->findChild<QLineEdit *>(QStringLiteral("profile_comment_input"));
        auto *button = window.editor->findChild<QPushButton *>(QStringLiteral("new_from_template"));
        QVERIFY(button && button->menu());
        QCOMPARE(button->text(), QStringLiteral("New from template"));
        QStringList entries;
        for (QAction *action : button->menu()->actions())
            entries << action->text();
        QCOMPARE(entries, (QStringList{"Jet", "Heavy", "Propeller", "Glider", "Helicopter"}));
        module->setText(QStringLiteral("ASK 21"));
        emit module->textEdited(module->text());
        comment->setText(QStringLiteral("soft"));
        emit comment->textEdited(comment->text());
        button->menu()->actions().at(3)->trigger();
        QCOMPARE(window.editor->currentProfile().metadata.flightModule, QStringLiteral("ASK 21"));
        QCOMPARE(window.editor->currentProfile().metadata.comment, QStringLiteral("soft"));
        QCOMPARE(window.editor->currentProfile().metadata.source, Telemetry::TELEMETRY_SOURCE_NONE);
        QCOMPARE(settingsBytes(window.editor->currentProfile().settings),
                 settingsBytes(templateOf(AircraftClass::Glider).settings));
        QCOMPARE(window.sudden.size(), 1);
        QCOMPARE(module->text(), QStringLiteral("ASK 21"));
        QVERIFY(ProfileStore::profileFiles().isEmpty()); // saved only by "Save profile"
    }
};

QTEST_MAIN(TestClassTemplateBar)
#include "tst_classtemplatebar.moc"
