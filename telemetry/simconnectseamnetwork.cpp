#include "simconnectconfig.h"
#include "simconnectlogging.h"
#include "simconnectnetwork.h"

// Without the MSFS SDK the source talks SimConnect's network protocol itself, to the server named by a
// SimConnect.cfg (the working directory's, then the one quillar-setup writes) or, without one, to this
// machine's ports 29779 and 500 in turn. The file is read once: edits take effect at the next start.
std::unique_ptr<SimConnectSeam> createPlatformSimConnect() {
    const SimConnectEndpoints found = programSimConnectEndpoints();
    qCInfo(lcMsfs).noquote() << found.summary();
    return std::make_unique<SimConnectNetworkClient>(found.endpoints);
}
