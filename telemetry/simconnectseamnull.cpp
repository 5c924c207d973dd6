#include "simconnectseam.h"

namespace {
// Without the SimConnect client library there is nothing to connect to: every open fails, so the MSFS
// source retries on each tick and stays silent.
class NoSimConnect final : public SimConnectSeam {
public:
    bool open(const char *) override { return false; }
    void addToDataDefinition(uint32_t, const char *, const char *, DataType, float, uint32_t) override {}
    void requestDataOnSimObjectType(uint32_t, uint32_t, uint32_t, uint32_t) override {}
    void subscribeToSystemEvent(uint32_t, const char *) override {}
    bool getNextMessage(SimConnectMessage &) override { return false; }
    void close() override {}
};
} // namespace

std::unique_ptr<SimConnectSeam> createPlatformSimConnect() {
    return std::make_unique<NoSimConnect>();
}
