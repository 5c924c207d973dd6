#pragma once

#include "aircraftclass.h"
#include "telemetry.h"

#include <QFrame>
#include <QString>

class QComboBox;
class QLabel;
class QPushButton;
class ThreeAxisEffectsWidget;

// The bar over the editor when a simulator reports an aircraft that no stored profile is made for:
// "No profile for F-16C_50 (DCS) — forces are off", a class chooser preset to the suggested class,
// "Create profile" and "Not now". With the class-template setting on it also puts the suggested class's
// template, unsaved, in place. It never changes which stored profile automatic activation picks.
class ClassTemplateBar : public QFrame {
    Q_OBJECT

public:
    ClassTemplateBar(ThreeAxisEffectsWidget *editor, bool useClassTemplate, QWidget *parent = nullptr);

    bool usesClassTemplate() const { return useTemplate; }
    AircraftClass suggestion() const { return suggested; }
    QString text() const;

public slots:
    // After the editor's own automatic activation has seen the same detection.
    void aircraftDetected(Telemetry::Source source, const QString &flightModule);
    // What MSFS or X-Plane tell about an aircraft beyond its name, before or after its detection; for the
    // aircraft flying now a changed suggestion is applied at once.
    void factsReported(Telemetry::Source source, const QString &flightModule, const AircraftFacts &facts);
    void setUseClassTemplate(bool use);
    void createProfile();
    void notNow();
    // Automatic activation switched off: the bar has nothing to offer until the next detection.
    void activationDisabled();

private:
    void evaluate();
    void showFor(AircraftClass preset);
    void refreshText();

    ThreeAxisEffectsWidget *editor;
    QLabel *label;
    QComboBox *chooser;
    QPushButton *create;
    QPushButton *dismiss;
    bool useTemplate;
    Telemetry::Source source = Telemetry::TELEMETRY_SOURCE_NONE;
    QString flightModule;
    AircraftFacts facts;
    // The last facts reported, with the aircraft they belong to.
    Telemetry::Source reportedSource = Telemetry::TELEMETRY_SOURCE_NONE;
    QString reportedModule;
    AircraftFacts reportedFacts;
    AircraftClass suggested = AircraftClass::None;
    // The detected aircraft has no profile while automatic activation is on.
    bool unmatched = false;
    // The aircraft "Not now" was pressed for; the bar stays away until another one is detected.
    bool dismissed = false;
};
