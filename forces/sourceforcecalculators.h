#pragma once

#include "forcesrecord.h"

#include <QObject>
#include <cstdint>

// Per-simulator hook, called after the common calculation of the same axis. No simulator has rules of its
// own yet, so every hook leaves the forces as they are.
class TelemetryForceCalculator : public QObject {
    Q_OBJECT

public:
    using QObject::QObject;
    virtual void calculate(Forces &forces, int axis, int64_t now);
};

class MSFSTelemetryForceCalculator : public TelemetryForceCalculator {
    Q_OBJECT
public:
    using TelemetryForceCalculator::TelemetryForceCalculator;
};

class DCSTelemetryForceCalculator : public TelemetryForceCalculator {
    Q_OBJECT
public:
    using TelemetryForceCalculator::TelemetryForceCalculator;
};

class ShturmovikTelemetryForceCalculator : public TelemetryForceCalculator {
    Q_OBJECT
public:
    using TelemetryForceCalculator::TelemetryForceCalculator;
};

class WarthunderForceCalculator : public TelemetryForceCalculator {
    Q_OBJECT
public:
    using TelemetryForceCalculator::TelemetryForceCalculator;
};

class CondorTelemetryForceCalculator : public TelemetryForceCalculator {
    Q_OBJECT
public:
    using TelemetryForceCalculator::TelemetryForceCalculator;
};

class XPlaneTelemetryForceCalculator : public TelemetryForceCalculator {
    Q_OBJECT
public:
    using TelemetryForceCalculator::TelemetryForceCalculator;
};
