#pragma once

#include "devicerecords.h"
#include "effectsprofile.h"
#include "cyclefigures.h"
#include "forcescope.h"
#include "forcesrecord.h"
#include "monotonicclock.h"
#include "sourcerecords.h"
#include "telemetry.h"

#include <QObject>
#include <cstdint>

#include <hidapi.h>

class QTimer;
class TelemetryThread;
class CommonTelemetryForceCalculator;
class TelemetryForceCalculator;

// The background worker: owns the device handles, the effect settings, the latest record of every
// telemetry source and the force calculators, and runs the 10 ms device cycle on its own thread.
class MainBackgroundThread : public QObject {
    Q_OBJECT

public:
    static constexpr unsigned short VendorId = 0x045B;
    static constexpr unsigned short JoystickProductId = 0x58F9;
    static constexpr unsigned short RudderProductId = 0x5968;

    explicit MainBackgroundThread(QObject *parent = nullptr);

    // Starts the 10 ms cycle, then the run clock, then the transition clock. Runs in the worker's thread.
    void startCycle();

    TelemetryThread *telemetryWorker() const { return telemetryThread; }

    // Every cycle's forces and telemetry also go into `ring` (none: null), for the force scope to read.
    // Set before the worker moves to its thread; a plain member, so the meta-object stays as it is.
    void setForceScope(ForceScopeRing *ring) { forceScope = ring; }
    // Each cycle's start, the telemetry's age at the report and failed writes also go into `figures` (none:
    // null), for the Diagnostics window. Set before the worker moves to its thread, like the force scope.
    void setCycleFigures(CycleFigures *figures);

signals:
    void telemetryChanged(Telemetry telemetry);
    void telemetrySourceChanged(Telemetry::Source source, QString flightModule);
    void telemetryEnded();
    void joystickConnected(uint32_t version);
    void joystickDisconnected();
    void rudderConnected(uint32_t version);
    void rudderDisconnected();
    void positionChanged(PositionInput position);

public slots:
    // All of these are slots, in this order, so the meta-method numbering stays fixed.
    void changeSettingsSuddenly(EffectsSettings settings);
    void changeSettingsModerately(EffectsSettings settings);
    void enableTelemetryOverride();
    void disableTelemetryOverride();
    void overrideTelemetry(Telemetry telemetry);
    void setMsfsTelemetry(MSFSTelemetry telemetry);
    void setDcsTelemetry(DCSTelemetry telemetry);
    void setShturmovikTelemetry(ShturmovikTelemetry telemetry);
    void setWarthunderTelemetry(WarthunderTelemetry telemetry);
    void setCondor2Telemetry(Condor2Telemetry telemetry);
    void setLanded(float verticalSpeed, float airspeed);
    Forces calculateForces(PositionInput positions);
    void onTimout();
    uint32_t readJoystickVersion();
    void disconnectJoystick();
    void readJoystickPosition(PositionInput *position, PositionInput *offset);
    void writeJoystickDirectControl(Forces forces);
    void writeJoystickDirectXOverride(DirectXOverrideTypeDef values);
    uint32_t readRudderVersion();
    void disconnectRudder();
    void readRudderPosition(PositionInput *position, PositionInput *offset);
    void writeRudderDirectControl(Forces forces);
    void writeRudderDirectXOverride(DirectXOverrideTypeDef values);
    void writeDirectXOverride();
    // Added after the published list so every earlier method keeps its number.
    void setXPlaneTelemetry(XPlaneTelemetry telemetry);

private:
    const Telemetry &currentTelemetry() const;
    int64_t now() const;
    void publishToScope(const Forces &forces);

    ElapsedClock runClock;
    ElapsedClock transitionClock;
    QTimer *cycleTimer = nullptr;
    hid_device *joystick = nullptr;
    hid_device *rudder = nullptr;
    int32_t joystickRetryCounter = 1000;
    int32_t rudderRetryCounter = 1000;
    float axisOffsets[3] = {0, 0, 0}; // always zero; kept as a field and a report slot
    EffectsSettings settings;
    bool telemetryOverride = false;
    Forces transitionBase; // all zero for the worker's life: the fade runs towards nothing
    Telemetry::Source currentSource = Telemetry::TELEMETRY_SOURCE_NONE;
    Telemetry overrideTelemetryRecord;
    MSFSTelemetry msfsTelemetry;
    DCSTelemetry dcsTelemetry;
    ShturmovikTelemetry shturmovikTelemetry;
    WarthunderTelemetry warthunderTelemetry;
    Condor2Telemetry condor2Telemetry;
    XPlaneTelemetry xplaneTelemetry;
    CommonTelemetryForceCalculator *commonCalculator = nullptr;
    TelemetryForceCalculator *calculators[Telemetry::SourceCount] = {}; // index n: source n; 0 unused
    TelemetryThread *telemetryThread = nullptr;
    ForceScopeRing *forceScope = nullptr;
    CycleFigures *cycleFigures = nullptr;
};
