// The MSFS source over our SimConnect network client as a program of its own, for checking the client against
// other SimConnect servers (tests/interop/): it connects to 127.0.0.1:<port>, polls on the source's 20 ms
// tick until the source has declared an aircraft and delivered one record, prints "declared <title>" and
// "record g=<G force>", and ends with 0; after 10 s without that it ends with 1.
//
//   quillar_simconnect_client_probe <port>

#include "simconnectnetwork.h"
#include "sourcerecords.h"
#include "telemetrysourcemsfs.h"

#include <QCoreApplication>
#include <QTimer>
#include <cstdio>

int main(int argc, char **argv) {
    QCoreApplication app(argc, argv);
    bool ok = false;
    const uint port = app.arguments().value(1).toUInt(&ok);
    if (!ok || port == 0 || port > 65535) {
        std::fprintf(stderr, "usage: %s <port>\n", argv[0]);
        return 2;
    }
    SimConnectEndpoint endpoint;
    endpoint.port = uint16_t(port);
    TelemetrySourceMSFS source(std::make_unique<SimConnectNetworkClient>(endpoint));
    bool declared = false;
    QObject::connect(&source, &TelemetrySource::telemetrySourceChanged, &app,
                     [&declared](Telemetry::Source, const QString &title) {
                         std::printf("declared %s\n", qPrintable(title));
                         declared = true;
                     });
    QObject::connect(&source, &TelemetrySourceMSFS::telemetryChanged, &app, [&](const MSFSTelemetry &record) {
        if (!declared || !source.isActive()) // the idle record of an end is not a record of the aircraft
            return;
        std::printf("record g=%g\n", double(record.gForce));
        std::fflush(stdout);
        QCoreApplication::exit(0);
    });
    QTimer tick;
    QObject::connect(&tick, &QTimer::timeout, &source, &TelemetrySourceMSFS::poll);
    tick.start(20);
    QTimer::singleShot(10000, &app, [] {
        std::fprintf(stderr, "no aircraft and record within 10 s\n");
        QCoreApplication::exit(1);
    });
    return app.exec();
}
