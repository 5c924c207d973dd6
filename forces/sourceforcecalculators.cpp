#include "sourceforcecalculators.h"

// No simulator has effects of its own yet (the IL-2 and Condor shaker settings are stored but not
// evaluated), so the hook leaves the forces untouched until one is given rules.
void TelemetryForceCalculator::calculate(Forces &, int, int64_t) {}
