#include "threeaxiseffectswidget.h"

#include "profilestore.h"
#include "ui_threeaxiseffectswidget.h"

#include <QMenu>
#include <QPushButton>
#include <QSignalBlocker>
#include <QStandardItemModel>

namespace {
constexpr int FileNameRole = Qt::UserRole;

// The profile list lives as long as the program and is never destroyed, so it outlives every widget
// that shows it and is never torn down after the application object.
QStandardItemModel *sharedProfileList() {
    static auto *model = new QStandardItemModel;
    return model;
}
} // namespace

ThreeAxisEffectsWidget::ThreeAxisEffectsWidget(QWidget *parent)
    : QWidget(parent), ui(new Ui::ThreeAxisEffectsWidget), profileList(sharedProfileList()) {
    ui->setupUi(this);
    ui->profile_combo->setModel(profileList);
    ProfileStore::makeFolder();
    // Read once now, so automatic activation can find a profile before anything is saved.
    readProfiles();

    // Editing starts from the defaults, the state a deleted profile leaves; nothing reaches the worker.
    profile.reset();
    axes[0] = ui->ailerons_effects_widget;
    axes[1] = ui->elevator_effects_widget;
    axes[2] = ui->rudder_effects_widget;
    for (int i = 0; i < EffectsSettings::AxisCount; ++i) {
        axes[i]->setSettings(&profile.settings.axes[i]);
        connect(axes[i], &AxisEffectsWidget::suddenSettingsChange, this,
                [this] { emit suddenValueChange(profile.settings); });
        connect(axes[i], &AxisEffectsWidget::moderateSettingsChange, this,
                [this] { emit moderateValueChange(profile.settings); });
    }

    // User edits only: a redraw sets these fields too and must not write back into the profile.
    connect(ui->flight_module_input, &QLineEdit::textEdited, this,
            [this](const QString &text) { profile.metadata.flightModule = text; });
    connect(ui->profile_comment_input, &QLineEdit::textEdited, this,
            [this](const QString &text) { profile.metadata.comment = text; });
    connect(ui->game_combo, &QComboBox::activated, this, [this](int index) {
        profile.metadata.source = Telemetry::Source(index);
        checkEnabledEffects(profile.metadata.source);
    });

    // In the corner of the axes' tab bar, where there is room: a menu of the class templates. The profile row
    // keeps its width, and with it the window its start size.
    auto *fromTemplate = new QPushButton(tr("New from template"), ui->tabWidget);
    fromTemplate->setObjectName(QStringLiteral("new_from_template"));
    auto *templates = new QMenu(fromTemplate);
    templates->setObjectName(QStringLiteral("new_from_template_menu"));
    for (AircraftClass aircraftClass : AircraftClasses::all()) {
        QAction *action = templates->addAction(AircraftClasses::name(aircraftClass));
        action->setObjectName(QStringLiteral("template_") + AircraftClasses::name(aircraftClass).toLower());
        connect(action, &QAction::triggered, this,
                [this, aircraftClass] { fillFromTemplate(aircraftClass); });
    }
    fromTemplate->setMenu(templates);
    ui->tabWidget->setCornerWidget(fromTemplate, Qt::TopRightCorner);

    redraw();
}

ThreeAxisEffectsWidget::~ThreeAxisEffectsWidget() = default;

void ThreeAxisEffectsWidget::fillFromTemplate(AircraftClass aircraftClass) {
    const EffectsProfileMetadata kept = profile.metadata;
    if (!AircraftClasses::loadTemplate(aircraftClass, profile))
        return;
    profile.metadata = kept;
    emit suddenValueChange(profile.settings);
    redraw();
}

bool ThreeAxisEffectsWidget::createProfileFromTemplate(AircraftClass aircraftClass, Telemetry::Source source,
                                                       const QString &flightModule) {
    if (!AircraftClasses::loadTemplate(aircraftClass, profile))
        return false;
    profile.metadata = EffectsProfileMetadata{source, flightModule, QString()};
    // Until the file is loaded back this is the template, unsaved; a failed write leaves it so, in the
    // editor.
    unsavedTemplate = aircraftClass;
    redraw();
    const QString fileName = ProfileStore::fileNameFor(profile.metadata);
    on_save_profile_clicked();
    return ProfileStore::profileFiles().contains(fileName) && unsavedTemplate == AircraftClass::None;
}

void ThreeAxisEffectsWidget::useTemplate(AircraftClass aircraftClass, Telemetry::Source source,
                                         const QString &flightModule) {
    if (!AircraftClasses::loadTemplate(aircraftClass, profile))
        return;
    // Saving it later ("Save profile" or "Create profile") names the file after this aircraft.
    profile.metadata = EffectsProfileMetadata{source, flightModule, QString()};
    unsavedTemplate = aircraftClass;
    ui->profile_combo->setCurrentIndex(-1);
    emit suddenValueChange(profile.settings);
    redraw();
}

QString ThreeAxisEffectsWidget::loadedProfileText() const {
    const int row = ui->profile_combo->currentIndex();
    if (row < 0 || row >= profileList->rowCount())
        return QString();
    return profileList->item(row)->text();
}

void ThreeAxisEffectsWidget::enableProfileActivation() {
    profileActivation = true;
}

void ThreeAxisEffectsWidget::disableProfileActivation() {
    profileActivation = false;
}

void ThreeAxisEffectsWidget::activateProfileFor(Telemetry::Source source, const QString &flightModule) {
    if (source == Telemetry::TELEMETRY_SOURCE_NONE || !profileActivation || profileIndex.isEmpty())
        return;
    const QString fileName = ProfileStore::matchingProfile(profileIndex, source, flightModule);
    if (!fileName.isEmpty())
        selectProfile(fileName);
}

QString ThreeAxisEffectsWidget::fileNameAt(int row) const {
    if (row < 0 || row >= profileList->rowCount())
        return QString();
    return profileList->item(row)->data(FileNameRole).toString();
}

void ThreeAxisEffectsWidget::on_profile_combo_activated(int index) {
    loadProfile(index);
}

void ThreeAxisEffectsWidget::loadProfile(int row) {
    const QString fileName = fileNameAt(row);
    if (fileName.isEmpty())
        return;
    ProfileStore::readProfileFile(fileName, profile);
    unsavedTemplate = AircraftClass::None;
    emit suddenValueChange(profile.settings);
    redraw();
}

void ThreeAxisEffectsWidget::selectProfile(const QString &fileName) {
    // Two names that differ only in case can both exist here, so the exact one wins.
    int found = -1;
    for (int row = 0; row < profileList->rowCount() && found < 0; ++row) {
        if (fileNameAt(row) == fileName)
            found = row;
    }
    for (int row = 0; row < profileList->rowCount() && found < 0; ++row) {
        if (fileNameAt(row).compare(fileName, Qt::CaseInsensitive) == 0)
            found = row;
    }
    if (found < 0)
        return;
    ui->profile_combo->setCurrentIndex(found);
    loadProfile(found);
}

void ThreeAxisEffectsWidget::on_save_profile_clicked() {
    const QString fileName = ProfileStore::fileNameFor(profile.metadata);
    const bool written = ProfileStore::writeProfileFile(fileName, profile);
    readProfiles();
    // Loading after a failed write would replace the unsaved edits with an older file of the same name.
    if (written)
        selectProfile(fileName);
}

void ThreeAxisEffectsWidget::on_delete_profile_clicked() {
    const QString fileName = fileNameAt(ui->profile_combo->currentIndex());
    if (fileName.isEmpty())
        return;
    ProfileStore::removeProfileFile(fileName);
    readProfiles();
    // The worker keeps the deleted profile's settings until the next change.
    profile.reset();
    unsavedTemplate = AircraftClass::None;
    redraw();
}

void ThreeAxisEffectsWidget::readProfiles() {
    profileList->clear();
    profileIndex.clear();
    for (const QString &fileName : ProfileStore::profileFiles()) {
        EffectsProfile scratch;
        ProfileStore::readProfileFile(fileName, scratch);
        profileIndex.insert(fileName, scratch.metadata);
        auto *item = new QStandardItem(ProfileStore::displayTextFor(scratch.metadata));
        item->setData(fileName, FileNameRole);
        item->setEditable(false);
        profileList->appendRow(item);
    }
    profileList->sort(0);
    // The combo box picks the first row by itself; it must not claim a profile that was not loaded.
    ui->profile_combo->setCurrentIndex(-1);
    emit profileListChanged(profileIndex);
}

void ThreeAxisEffectsWidget::redraw() {
    checkEnabledEffects(profile.metadata.source);
    {
        const QSignalBlocker blocker(ui->game_combo);
        const int source = profile.metadata.source;
        ui->game_combo->setCurrentIndex(source >= 0 && source < ui->game_combo->count() ? source : -1);
    }
    ui->profile_comment_input->setText(profile.metadata.comment);
    ui->flight_module_input->setText(profile.metadata.flightModule);
    for (AxisEffectsWidget *axis : axes)
        axis->refresh();
}

void ThreeAxisEffectsWidget::checkEnabledEffects(Telemetry::Source source) {
    const QList<int> offered = AxisEffectsWidget::effectsOfferedBy(source);
    for (AxisEffectsWidget *axis : axes)
        axis->setOfferedEffects(offered);
}
