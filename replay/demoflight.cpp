#include "demoflight.h"

#include "telemetry.h"

#include <algorithm>
#include <cmath>
#include <initializer_list>

namespace DemoFlight {

namespace {

struct Key {
    double time;
    double value;
};

// Straight lines between key points; held flat before the first and after the last.
double follow(std::initializer_list<Key> keys, double t) {
    const Key *previous = keys.begin();
    if (t <= previous->time)
        return previous->value;
    for (const Key *key = keys.begin() + 1; key != keys.end(); ++key) {
        if (t <= key->time) {
            const double span = key->time - previous->time;
            const double share = span > 0 ? (t - previous->time) / span : 1.0;
            return previous->value + (key->value - previous->value) * share;
        }
        previous = key;
    }
    return previous->value;
}

// Runway and taxiway roughness: a few incommensurate sines, so the ground shakers have something to follow.
double bumps(double t) {
    return 0.04 * std::sin(t * 23.0) + 0.03 * std::sin(t * 37.0 + 1.0) + 0.02 * std::sin(t * 61.0 + 2.0);
}

constexpr double LiftOff = 32.0;
constexpr double TouchDown = 108.0;

} // namespace

State stateAt(double t) {
    State s;
    s.onGround = t < LiftOff || t >= TouchDown;
    s.airspeed = follow({{0, 0},      {4, 25},     {14, 30},    {16, 30},    {30, 270},   {LiftOff, 290},
                         {50, 450},   {70, 460},   {72, 430},   {79, 210},   {82, 260},   {84, 380},
                         {90, 300},   {100, 280},  {TouchDown, 250}, {118, 40}, {120, 25}},
                        t);
    s.verticalSpeed = follow({{0, 0},      {29, 0},    {30, 1},    {LiftOff, 8}, {35, 15},  {48, 15},
                              {52, 2},     {70, 0},    {74, -2},   {79, -6},     {82, -8},  {84, -2},
                              {92, -3},    {95, -4},   {TouchDown - 0.5, -2.4}, {TouchDown, -2.4},
                              {TouchDown + 0.5, 0}, {120, 0}},
                             t);
    const double turnG = follow({{52, 1}, {55, 3.5}, {59, 3.5}, {61, 1}, {63, 1}, {65, 4.5}, {68, 4.5},
                                 {70, 1}},
                                t);
    s.gForce = turnG;
    s.aoa = follow({{0, 0},   {30, 0},   {31, 4},   {LiftOff, 11}, {34, 9},   {48, 5},   {52, 3},
                    {72, 3},  {74, 8},   {78, 22},  {79.5, 24},    {80.5, 8}, {84, 4},   {92, 5},
                    {96, 8},  {TouchDown, 10}, {TouchDown + 1.5, 2}, {120, 0}},
                   t);
    // In the turns the wing works harder: AoA follows the load factor.
    if (t > 52 && t < 70)
        s.aoa += 2.2 * (turnG - 1.0);
    s.gear = follow({{36, 1}, {41, 0}, {93, 0}, {98, 1}}, t);
    s.flaps = follow({{0, 0.5}, {42, 0.5}, {46, 0}, {95, 0}, {100, 1}}, t);
    s.airbrake = follow({{84, 0}, {85, 1}, {89, 1}, {90, 0}, {TouchDown + 1, 0}, {TouchDown + 2, 1}}, t);
    s.engine = follow({{0, 62}, {15, 62}, {17, 100}, {50, 95}, {70, 92}, {72, 60}, {79, 100},
                       {84, 75}, {TouchDown, 70}, {TouchDown + 1, 55}, {120, 50}},
                      t);
    if (s.onGround)
        s.gForce = 1.0 + bumps(t) * std::min(1.0, s.airspeed / 60.0);
    else if (t < 52 || t > 70)
        s.gForce += 0.05 * std::sin(t * 3.1); // light turbulence
    // The stall's buffet before the nose drops.
    if (t > 76 && t < 80)
        s.gForce += 0.25 * std::sin(t * 40.0);
    return s;
}

QByteArray datagram(const State &s) {
    // Three decimals and a point, as the export script writes its numbers.
    const auto number = [](double value) { return QByteArray::number(value, 'f', 3); };
    QByteArray out(FlightModule);
    for (double value : {s.airspeed, s.verticalSpeed, s.aoa, s.gForce, s.gear, s.airbrake, s.flaps, s.engine}) {
        out += ';';
        out += number(value);
    }
    out += s.onGround ? ";1" : ";0";
    return out;
}

QList<TelemetryRecording::Record> records() {
    QList<TelemetryRecording::Record> flight;
    flight.reserve(int(DurationMicros / PeriodMicros) + 1);
    for (int64_t micros = 0; micros <= DurationMicros; micros += PeriodMicros) {
        TelemetryRecording::Record record;
        record.micros = micros;
        record.source = Telemetry::TELEMETRY_SOURCE_DCS;
        record.kind = TelemetryRecording::Kind::UdpDatagram;
        record.payload = datagram(stateAt(double(micros) / 1e6));
        flight.append(record);
    }
    return flight;
}

} // namespace DemoFlight
