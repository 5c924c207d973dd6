// The fake SimConnect server as a program of its own, for checking it against other SimConnect clients
// (tests/interop/): it listens on 127.0.0.1, prints "port <n>" once listening, answers the open, answers
// every data request with a block for the MSFS source's definition (title "Interop Aircraft", G force 1.25),
// sends the "SimStart" event right after its subscription, and appends every packet it receives to a file as
// "<connection> <call> <hex bytes>". It runs until it is ended.
//
//   quillar_fake_simconnect_server <port, 0 for any> <record file>

#include "fakesimconnectserver.h"

#include <QCoreApplication>
#include <QFile>
#include <cstdio>
#include <cstring>

int main(int argc, char **argv) {
    QCoreApplication app(argc, argv);
    const QStringList args = app.arguments();
    if (args.size() != 3) {
        std::fprintf(stderr, "usage: %s <port, 0 for any> <record file>\n", argv[0]);
        return 2;
    }
    bool ok = false;
    const uint port = args[1].toUInt(&ok);
    QFile record(args[2]);
    if (!ok || port > 65535 || !record.open(QIODevice::WriteOnly | QIODevice::Append | QIODevice::Unbuffered)) {
        std::fprintf(stderr, "bad port or record file\n");
        return 2;
    }

    FakeSimConnectServer server;
    QByteArray block(400, '\0');
    const double gForce = 1.25;
    std::memcpy(block.data() + 48, &gForce, sizeof gForce); // little-endian hosts only, as the tests run
    std::memcpy(block.data() + 144, "Interop Aircraft", 16);
    server.serveOnRequest(block);
    server.eventOnSubscribe = true;
    QObject::connect(&server, &FakeSimConnectServer::packetReceived, &server,
                     [&record](const FakeSimConnectServer::Packet &packet) {
                         record.write(QByteArray::number(packet.connection) + ' ' +
                                      QByteArray::number(packet.call, 16) + ' ' + packet.bytes.toHex() + '\n');
                     });
    if (!server.listen(uint16_t(port))) {
        std::fprintf(stderr, "cannot listen on port %u\n", port);
        return 1;
    }
    std::printf("port %u\n", unsigned(server.port()));
    std::fflush(stdout);
    return app.exec();
}
