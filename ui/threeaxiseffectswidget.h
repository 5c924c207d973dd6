#pragma once

#include "aircraftclass.h"
#include "effectsprofile.h"
#include "telemetry.h"

#include <QMap>
#include <QString>
#include <QWidget>
#include <memory>

class AxisEffectsWidget;
class QStandardItemModel;

namespace Ui {
class ThreeAxisEffectsWidget;
}

// The profile editor: the current profile's metadata, the three axes' effects, and the profile folder
// (listing, saving, deleting, loading, and choosing a profile by itself when a simulator and aircraft are
// detected).
class ThreeAxisEffectsWidget : public QWidget {
    Q_OBJECT

public:
    explicit ThreeAxisEffectsWidget(QWidget *parent = nullptr);
    ~ThreeAxisEffectsWidget() override;

    // Automatic activation, switched by the status panel; on at construction.
    void enableProfileActivation();
    void disableProfileActivation();
    bool isProfileActivationEnabled() const { return profileActivation; }
    // On a newly detected source and flight module: loads the first stored profile, by file name, made for
    // exactly this source and flight module, and sends it to the worker.
    void activateProfileFor(Telemetry::Source source, const QString &flightModule);

    const EffectsProfile &currentProfile() const { return profile; }

    // Class templates. "New from template": the current profile's settings become the template's, its source,
    // flight module and comment stay, and the worker gets them as a sudden change.
    void fillFromTemplate(AircraftClass aircraftClass);
    // A profile for this aircraft made from the template, saved by "Save profile" (which loads it back by its
    // file name, so the worker gets it as a sudden change). False when it could not be written.
    bool createProfileFromTemplate(AircraftClass aircraftClass, Telemetry::Source source,
                                   const QString &flightModule);
    // The template, unsaved, becomes the current profile for this aircraft and goes to the worker.
    void useTemplate(AircraftClass aircraftClass, Telemetry::Source source, const QString &flightModule);
    // The class whose template the current profile holds unsaved; None once a file is loaded or the profile
    // reset.
    AircraftClass templateInUse() const { return unsavedTemplate; }
    // The list text of the profile file that was loaded last, empty when the current profile is no file's.
    QString loadedProfileText() const;
    const QMap<QString, EffectsProfileMetadata> &profiles() const { return profileIndex; }

signals:
    void profileListChanged(QMap<QString, EffectsProfileMetadata> profiles);
    void suddenValueChange(EffectsSettings settings);
    void moderateValueChange(EffectsSettings settings);

public slots:
    void on_profile_combo_activated(int index);
    void on_save_profile_clicked();
    void on_delete_profile_clicked();
    void readProfiles();
    void redraw();
    void checkEnabledEffects(Telemetry::Source source);

private:
    void loadProfile(int row);
    void selectProfile(const QString &fileName);
    QString fileNameAt(int row) const;

    std::unique_ptr<Ui::ThreeAxisEffectsWidget> ui;
    AxisEffectsWidget *axes[EffectsSettings::AxisCount];
    QStandardItemModel *profileList;
    EffectsProfile profile;
    QMap<QString, EffectsProfileMetadata> profileIndex;
    bool profileActivation = true;
    AircraftClass unsavedTemplate = AircraftClass::None;
};
