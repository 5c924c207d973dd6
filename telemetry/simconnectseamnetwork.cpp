#include "simconnectconfig.h"
#include "simconnectnetwork.h"

#include <QDir>

// Without the MSFS SDK the source talks SimConnect's network protocol itself, to the server named by a
// SimConnect.cfg in the working directory (as other SimConnect clients do) or to this machine's port 500.
std::unique_ptr<SimConnectSeam> createPlatformSimConnect() {
    return std::make_unique<SimConnectNetworkClient>(
        readSimConnectConfig(QDir::current().filePath(QStringLiteral("SimConnect.cfg"))));
}
