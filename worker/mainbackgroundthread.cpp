#include "mainbackgroundthread.h"

#include "commontelemetryforcecalculator.h"
#include "forcepipeline.h"
#include "hidreports.h"
#include "sourceforcecalculators.h"
#include "telemetryring.h"
#include "telemetrythread.h"

#include <QThread>
#include <QTimer>
#include <chrono>
#include <cmath>

namespace {

constexpr int CyclePeriodMs = 10;
// A closed device is looked for once its counter has passed this many cycles: one attempt every 101 cycles.
constexpr int32_t RetryThreshold = 99;

HidReports::DirectControlSlot directControlSlot(const AxisForces &forces, const SmartDamperSettings &damper,
                                                float axisOffset) {
    const DamperValues damping = smartDamperValues(damper);
    HidReports::DirectControlSlot slot;
    slot.springGain = forces.springGain;
    slot.force = forces.force;
    slot.periodic = forces.periodic;
    slot.staticDamping = damping.staticDamping;
    slot.dynamicDamping = damping.dynamicDamping;
    slot.axisOffset = axisOffset;
    return slot;
}

int64_t steadyNs() {
    return std::chrono::duration_cast<std::chrono::nanoseconds>(std::chrono::steady_clock::now().time_since_epoch())
        .count();
}

} // namespace

MainBackgroundThread::MainBackgroundThread(QObject *parent) : QObject(parent) {
    // The clocks stay invalid, the handles null and the counters at 1000 (the member initialisers) until
    // startCycle: the first cycle then looks for both devices at once.
    cycleTimer = new QTimer(this);

    commonCalculator = new CommonTelemetryForceCalculator(this);
    calculators[Telemetry::TELEMETRY_SOURCE_MSFS] = new MSFSTelemetryForceCalculator(this);
    calculators[Telemetry::TELEMETRY_SOURCE_DCS] = new DCSTelemetryForceCalculator(this);
    calculators[Telemetry::TELEMETRY_SOURCE_IL2] = new ShturmovikTelemetryForceCalculator(this);
    calculators[Telemetry::TELEMETRY_SOURCE_WARTHUNDER] = new WarthunderForceCalculator(this);
    calculators[Telemetry::TELEMETRY_SOURCE_CONDOR] = new CondorTelemetryForceCalculator(this);
    calculators[Telemetry::TELEMETRY_SOURCE_XPLANE] = new XPlaneTelemetryForceCalculator(this);

    // No parent: it lives in a thread of its own and, like this worker, for the rest of the process.
    telemetryThread = new TelemetryThread();

    hid_init();

    connect(cycleTimer, &QTimer::timeout, this, &MainBackgroundThread::onTimout);
    connect(telemetryThread, &TelemetryThread::telemetryEnded, this, &MainBackgroundThread::telemetryEnded);
    connect(telemetryThread, &TelemetryThread::telemetrySourceChanged, this,
            &MainBackgroundThread::telemetrySourceChanged);
    connect(telemetryThread, &TelemetryThread::msfsTelemetryChanged, this, &MainBackgroundThread::setMsfsTelemetry);
    connect(telemetryThread, &TelemetryThread::dcsTelemetryChanged, this, &MainBackgroundThread::setDcsTelemetry);
    connect(telemetryThread, &TelemetryThread::shturmovikTelemetryChanged, this,
            &MainBackgroundThread::setShturmovikTelemetry);
    connect(telemetryThread, &TelemetryThread::warthunderTelemetryChanged, this,
            &MainBackgroundThread::setWarthunderTelemetry);
    connect(telemetryThread, &TelemetryThread::condor2TelemetryChanged, this,
            &MainBackgroundThread::setCondor2Telemetry);
    connect(telemetryThread, &TelemetryThread::xplaneTelemetryChanged, this,
            &MainBackgroundThread::setXPlaneTelemetry);
    connect(telemetryThread, &TelemetryThread::landed, this, &MainBackgroundThread::setLanded);

    // Fires once the event loop runs, after the move below, so the telemetry worker starts in its own thread.
    auto *startTimer = new QTimer();
    startTimer->setSingleShot(true);
    connect(startTimer, &QTimer::timeout, telemetryThread, &TelemetryThread::start);
    connect(startTimer, &QTimer::timeout, startTimer, &QObject::deleteLater);
    startTimer->start();

    // Never quit, waited for or deleted: there is no orderly shutdown.
    auto *thread = new QThread();
    thread->setObjectName(QStringLiteral("telemetry")); // the name a thread list (top -H) shows
    thread->start(QThread::InheritPriority);
    telemetryThread->moveToThread(thread);
}

void MainBackgroundThread::startCycle() {
    cycleTimer->setTimerType(Qt::PreciseTimer);
    cycleTimer->start(CyclePeriodMs);
    runClock.start();
    transitionClock.start();
}

void MainBackgroundThread::setCycleFigures(CycleFigures *figures) {
    const bool first = !cycleFigures;
    cycleFigures = figures;
    // Every source's record passes through telemetryChanged, so its arrival is noted in one place: as the time
    // its bytes reached the source, so the age at the report includes the hop between the threads.
    if (first && figures)
        connect(
            this, &MainBackgroundThread::telemetryChanged, this,
            [this] {
                if (!cycleFigures)
                    return;
                const int64_t now = steadyNs();
                const int64_t received = TelemetryRing::lastArrivalNs();
                cycleFigures->telemetryArrived(received > 0 && received <= now ? received : now);
            },
            Qt::DirectConnection);
}

int64_t MainBackgroundThread::now() const {
    return runClock.isValid() ? runClock.elapsed() : 0;
}

const Telemetry &MainBackgroundThread::currentTelemetry() const {
    switch (currentSource) {
    case Telemetry::TELEMETRY_SOURCE_MSFS:
        return msfsTelemetry;
    case Telemetry::TELEMETRY_SOURCE_DCS:
        return dcsTelemetry;
    case Telemetry::TELEMETRY_SOURCE_IL2:
        return shturmovikTelemetry;
    case Telemetry::TELEMETRY_SOURCE_WARTHUNDER:
        return warthunderTelemetry;
    case Telemetry::TELEMETRY_SOURCE_CONDOR:
        return condor2Telemetry;
    case Telemetry::TELEMETRY_SOURCE_XPLANE:
        return xplaneTelemetry;
    default:
        // Also any value outside the table.
        return overrideTelemetryRecord;
    }
}

// ---- settings ----

void MainBackgroundThread::changeSettingsSuddenly(EffectsSettings newSettings) {
    transitionClock.restart();
    settings = newSettings;
    writeDirectXOverride();
}

void MainBackgroundThread::changeSettingsModerately(EffectsSettings newSettings) {
    // The transition clock is left alone: a fade in progress carries on.
    settings = newSettings;
    writeDirectXOverride();
}

// ---- telemetry ----

void MainBackgroundThread::enableTelemetryOverride() {
    telemetryOverride = true;
}

void MainBackgroundThread::disableTelemetryOverride() {
    // The override record stays in force until a source sends again.
    telemetryOverride = false;
}

void MainBackgroundThread::overrideTelemetry(Telemetry telemetry) {
    if (!telemetryOverride)
        return;
    currentSource = Telemetry::TELEMETRY_SOURCE_NONE;
    overrideTelemetryRecord = telemetry;
}

void MainBackgroundThread::setMsfsTelemetry(MSFSTelemetry telemetry) {
    if (telemetryOverride)
        return;
    currentSource = Telemetry::TELEMETRY_SOURCE_MSFS;
    msfsTelemetry = telemetry;
    emit telemetryChanged(static_cast<const Telemetry &>(telemetry));
}

void MainBackgroundThread::setDcsTelemetry(DCSTelemetry telemetry) {
    if (telemetryOverride)
        return;
    currentSource = Telemetry::TELEMETRY_SOURCE_DCS;
    dcsTelemetry = telemetry;
    emit telemetryChanged(static_cast<const Telemetry &>(telemetry));
}

void MainBackgroundThread::setShturmovikTelemetry(ShturmovikTelemetry telemetry) {
    if (telemetryOverride)
        return;
    currentSource = Telemetry::TELEMETRY_SOURCE_IL2;
    shturmovikTelemetry = telemetry;
    emit telemetryChanged(static_cast<const Telemetry &>(telemetry));
}

void MainBackgroundThread::setWarthunderTelemetry(WarthunderTelemetry telemetry) {
    if (telemetryOverride)
        return;
    currentSource = Telemetry::TELEMETRY_SOURCE_WARTHUNDER;
    warthunderTelemetry = telemetry;
    emit telemetryChanged(static_cast<const Telemetry &>(telemetry));
}

void MainBackgroundThread::setCondor2Telemetry(Condor2Telemetry telemetry) {
    if (telemetryOverride)
        return;
    currentSource = Telemetry::TELEMETRY_SOURCE_CONDOR;
    condor2Telemetry = telemetry;
    emit telemetryChanged(static_cast<const Telemetry &>(telemetry));
}

void MainBackgroundThread::setXPlaneTelemetry(XPlaneTelemetry telemetry) {
    if (telemetryOverride)
        return;
    currentSource = Telemetry::TELEMETRY_SOURCE_XPLANE;
    xplaneTelemetry = telemetry;
    emit telemetryChanged(static_cast<const Telemetry &>(telemetry));
}

void MainBackgroundThread::setLanded(float verticalSpeed, float airspeed) {
    // Not gated by the override: the status panel's own touch-down button arrives here too.
    commonCalculator->setLanded(std::fabs(verticalSpeed), airspeed, settings, now());
}

// ---- the device cycle ----

Forces MainBackgroundThread::calculateForces(PositionInput positions) {
    const float values[3] = {positions.roll, positions.pitch, positions.yaw};
    return calculateAllAxes(values, axisOffsets, currentTelemetry(), currentSource, settings, *commonCalculator,
                            calculators, now());
}

void MainBackgroundThread::onTimout() {
    if (cycleFigures)
        cycleFigures->cycleStarted(steadyNs());
    PositionInput position;
    PositionInput offset;

    if (joystick) {
        readJoystickPosition(&position, &offset);
    } else if (joystickRetryCounter > RetryThreshold) {
        joystickRetryCounter = 0;
        joystick = hid_open(VendorId, JoystickProductId, nullptr);
        // The position is read from the next cycle on.
        if (joystick)
            emit joystickConnected(readJoystickVersion());
    } else {
        ++joystickRetryCounter;
    }

    if (rudder) {
        readRudderPosition(&position, &offset);
    } else if (rudderRetryCounter > RetryThreshold) {
        rudderRetryCounter = 0;
        rudder = hid_open(VendorId, RudderProductId, nullptr);
        if (rudder)
            emit rudderConnected(readRudderVersion());
    } else {
        ++rudderRetryCounter;
    }

    position.roll -= offset.roll;
    position.pitch -= offset.pitch;
    position.yaw -= offset.yaw;
    emit positionChanged(position);

    // transitionBase is all zero, so a sudden change fades the output to nothing over two seconds and then
    // snaps back to full. That is the behaviour users know; keep it.
    const Forces forces = applySettingsTransition(calculateForces(position), transitionClock.elapsed(),
                                                  transitionBase);
    if (forceScope)
        publishToScope(forces);

    writeJoystickDirectControl(forces);
    writeRudderDirectControl(forces);
    if (cycleFigures)
        cycleFigures->reported(steadyNs());
}

void MainBackgroundThread::publishToScope(const Forces &forces) {
    // Whatever telemetry the computation read: a source's record, or the override's while it is on.
    const Telemetry &telemetry = currentTelemetry();
    ScopeSample sample;
    sample.timeMs = now();
    sample.forces = forces;
    sample.airspeed = telemetry.getAirspeed();
    sample.aoa = telemetry.aoa;
    sample.gForce = telemetry.gForce;
    // A full ring (a view that stopped reading) drops the sample; the cycle never waits for the view.
    forceScope->push(sample);
}

// ---- joystick ----

uint32_t MainBackgroundThread::readJoystickVersion() {
    HidReports::Buffer buffer = HidReports::versionRequest();
    // The result is not examined: a failed read leaves the bare report id, version 0x00000025.
    if (joystick)
        hid_get_feature_report(joystick, buffer.data(), buffer.size());
    return HidReports::versionWord(buffer);
}

void MainBackgroundThread::disconnectJoystick() {
    // hid_close accepts a null handle, so on a closed joystick this only reports the disconnection again.
    hid_close(joystick);
    joystick = nullptr;
    emit joystickDisconnected();
}

void MainBackgroundThread::readJoystickPosition(PositionInput *position, PositionInput *offset) {
    if (!joystick)
        return;
    HidReports::Buffer buffer = HidReports::positionRequest();
    if (hid_get_feature_report(joystick, buffer.data(), buffer.size()) < 1) {
        // The only way a lost device shows itself.
        hid_close(joystick);
        joystick = nullptr;
        emit joystickDisconnected();
        return;
    }
    const HidReports::PositionReading reading = HidReports::parsePosition(buffer);
    position->roll = reading.positionA;
    position->pitch = reading.positionB;
    offset->roll = reading.offsetA;
    offset->pitch = reading.offsetB;
}

void MainBackgroundThread::writeJoystickDirectControl(Forces forces) {
    if (!joystick)
        return;
    const HidReports::Buffer report = HidReports::directControlReport(
        directControlSlot(forces[0], settings.axes[0].smartDamper, axisOffsets[0]),
        directControlSlot(forces[1], settings.axes[1].smartDamper, axisOffsets[1]));
    // Fire and forget: a failed write neither closes the device nor is logged; the Diagnostics window shows it.
    if (hid_write(joystick, report.data(), report.size()) < 0 && cycleFigures)
        cycleFigures->writeFailed("joystick: a force report could not be written");
}

void MainBackgroundThread::writeJoystickDirectXOverride(DirectXOverrideTypeDef values) {
    if (!joystick)
        return;
    const HidReports::Buffer report = HidReports::directXOverrideReport(values);
    hid_write(joystick, report.data(), report.size());
}

// ---- rudder ----

uint32_t MainBackgroundThread::readRudderVersion() {
    HidReports::Buffer buffer = HidReports::versionRequest();
    if (rudder)
        hid_get_feature_report(rudder, buffer.data(), buffer.size());
    return HidReports::versionWord(buffer);
}

void MainBackgroundThread::disconnectRudder() {
    hid_close(rudder);
    rudder = nullptr;
    emit rudderDisconnected();
}

void MainBackgroundThread::readRudderPosition(PositionInput *position, PositionInput *offset) {
    if (!rudder)
        return;
    HidReports::Buffer buffer = HidReports::positionRequest();
    if (hid_get_feature_report(rudder, buffer.data(), buffer.size()) < 1) {
        hid_close(rudder);
        rudder = nullptr;
        emit rudderDisconnected();
        return;
    }
    // The rudder has slot A only; the joystick's fields are left as they are.
    const HidReports::PositionReading reading = HidReports::parsePosition(buffer);
    position->yaw = reading.positionA;
    offset->yaw = reading.offsetA;
}

void MainBackgroundThread::writeRudderDirectControl(Forces forces) {
    if (!rudder)
        return;
    const HidReports::Buffer report =
        HidReports::directControlReport(directControlSlot(forces[2], settings.axes[2].smartDamper, axisOffsets[2]),
                                        HidReports::DirectControlSlot{});
    if (hid_write(rudder, report.data(), report.size()) < 0 && cycleFigures)
        cycleFigures->writeFailed("rudder: a force report could not be written");
}

void MainBackgroundThread::writeRudderDirectXOverride(DirectXOverrideTypeDef values) {
    if (!rudder)
        return;
    const HidReports::Buffer report = HidReports::directXOverrideReport(values);
    hid_write(rudder, report.data(), report.size());
}

// ---- both ----

void MainBackgroundThread::writeDirectXOverride() {
    if (joystick) {
        const DirectXAxisValues roll = directXValues(settings.axes[0].directX);
        const DirectXAxisValues pitch = directXValues(settings.axes[1].directX);
        DirectXOverrideTypeDef values;
        values.trimmer[0] = roll.trimmer;
        values.trimmer[1] = pitch.trimmer;
        values.force[0] = roll.force;
        values.force[1] = pitch.force;
        values.periodic[0] = roll.periodic;
        values.periodic[1] = pitch.periodic;
        writeJoystickDirectXOverride(values);
    }
    if (rudder) {
        const DirectXAxisValues yaw = directXValues(settings.axes[2].directX);
        DirectXOverrideTypeDef values;
        values.trimmer[0] = yaw.trimmer;
        values.force[0] = yaw.force;
        values.periodic[0] = yaw.periodic;
        writeRudderDirectXOverride(values);
    }
}
