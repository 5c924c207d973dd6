#pragma once

#include "telemetryrecording.h"

#include <QByteArray>
#include <QList>

// A built-in DCS flight of about two minutes, computed rather than captured: taxi, take-off roll, rotation,
// climb cleaning up gear and flaps, turns with g, a stall warning at high AoA, airbrake, an approach with
// gear and flaps down, touch-down and roll-out. Datagrams as the DCS export script sends them, 50 a second.
namespace DemoFlight {

// The aircraft name the flight reports; the shipped demo profile is made for it.
inline constexpr char FlightModule[] = "Quillar Demo Trainer";
inline constexpr char ProfileFileName[] = "DCS_Quillar_Demo_Trainer.json";
constexpr int64_t DurationMicros = 120'000'000;
constexpr int64_t PeriodMicros = 20'000;

struct State {
    double airspeed = 0;      // km/h
    double verticalSpeed = 0; // m/s
    double aoa = 0;           // degrees
    double gForce = 1;
    double gear = 0; // 0..1
    double airbrake = 0;
    double flaps = 0;
    double engine = 0; // RPM %
    bool onGround = true;
};

// The aircraft's state `seconds` into the flight.
State stateAt(double seconds);
QByteArray datagram(const State &state);
// The whole flight as recording records, in time order.
QList<TelemetryRecording::Record> records();

} // namespace DemoFlight
