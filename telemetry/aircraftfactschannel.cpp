#include "aircraftfactschannel.h"

AircraftFactsChannel &AircraftFactsChannel::instance() {
    // Never destroyed: sources in other threads may publish until the process ends.
    static auto *channel = new AircraftFactsChannel();
    return *channel;
}
