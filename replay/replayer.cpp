#include "replayer.h"

#include "telemetry.h"

#include <QTcpServer>
#include <QTcpSocket>
#include <QTimer>
#include <QUdpSocket>
#include <cmath>
#include <cstring>

using TelemetryRecording::Kind;
using TelemetryRecording::Record;

Replayer::Replayer(std::function<bool(Record &)> next, std::function<void()> rewind,
                   const ReplayEndpoints &endpoints, QObject *parent)
    : QObject(parent), nextRecord(std::move(next)), rewindRecords(std::move(rewind)), endpoints(endpoints) {
    socket = new QUdpSocket(this);
    timer = new QTimer(this);
    timer->setSingleShot(true);
    timer->setTimerType(Qt::PreciseTimer);
    connect(timer, &QTimer::timeout, this, &Replayer::sendDue);
}

bool Replayer::listenForWarthunder(QString *error) {
    if (!server) {
        server = new QTcpServer(this);
        connect(server, &QTcpServer::newConnection, this, [this] {
            while (QTcpSocket *client = server->nextPendingConnection()) {
                connect(client, &QTcpSocket::readyRead, this, &Replayer::answerRequest);
                connect(client, &QTcpSocket::disconnected, client, &QObject::deleteLater);
            }
        });
    }
    if (server->isListening() || server->listen(QHostAddress(QHostAddress::LocalHost), endpoints.warthunderPort))
        return true;
    if (error)
        *error = QStringLiteral("cannot serve War Thunder on port %1: %2")
                     .arg(endpoints.warthunderPort)
                     .arg(server->errorString());
    return false;
}

bool Replayer::listenForXPlane(QString *error) {
    if (!xplane) {
        xplane = new QUdpSocket(this);
        connect(xplane, &QUdpSocket::readyRead, this, &Replayer::takeSubscriptions);
    }
    if (xplane->state() == QAbstractSocket::BoundState ||
        // Exclusively, as the War Thunder port: with address sharing a second program on the port (X-Plane
        // itself, another replay) would go unnoticed and take the subscriptions meant for this one.
        xplane->bind(QHostAddress(QHostAddress::LocalHost), endpoints.xplanePort, QAbstractSocket::DontShareAddress))
        return true;
    if (error)
        *error = QStringLiteral("cannot stand in for X-Plane on UDP port %1: %2")
                     .arg(endpoints.xplanePort)
                     .arg(xplane->errorString());
    return false;
}

// The program's subscriptions say where X-Plane's replies go; their contents are not needed, since the
// recorded replies already carry the indexes the program asked for.
void Replayer::takeSubscriptions() {
    while (xplane->hasPendingDatagrams()) {
        QHostAddress from;
        quint16 port = 0;
        char head[4];
        const qint64 read = xplane->readDatagram(head, sizeof head, &from, &port);
        if (read == sizeof head && std::memcmp(head, "RREF", sizeof head) == 0) {
            xplaneSubscriber = from;
            xplaneSubscriberPort = port;
        }
    }
}

void Replayer::answerRequest() {
    auto *client = qobject_cast<QTcpSocket *>(sender());
    if (!client)
        return;
    // A request is complete at its blank line; bodies are not expected. A client that sends more than a
    // request's worth without one is not a War Thunder poller.
    const QByteArray request = client->peek(client->bytesAvailable());
    if (!request.contains("\r\n\r\n")) {
        if (request.size() > 65536)
            client->abort();
        return;
    }
    client->readAll();
    QByteArray response;
    if (haveWarthunderDocument) {
        response = "HTTP/1.1 200 OK\r\nContent-Type: application/json\r\nContent-Length: " +
                   QByteArray::number(warthunderDocument.size()) + "\r\nConnection: close\r\n\r\n" +
                   warthunderDocument;
    } else {
        // Nothing recorded has come due yet: to the source this is a game not in a session.
        response = "HTTP/1.1 503 Service Unavailable\r\nContent-Length: 0\r\nConnection: close\r\n\r\n";
    }
    client->write(response);
    client->disconnectFromHost();
}

void Replayer::start() {
    clock.start();
    passOffsetMicros = 0;
    havePending = nextRecord(pending);
    passFirstMicros = havePending ? pending.micros : 0;
    // The first records go out from the event loop, never from here: a recording with nothing in it
    // finishes at once, and a finished() emitted before the caller's loop runs would be lost.
    timer->start(0);
}

// Each pass starts at its first record, so the minutes a recording ran before the simulator sent anything
// are not replayed as minutes of nothing. Due times are counted from one clock, so lateness never adds up.
void Replayer::sendDue() {
    const int64_t playedMicros = int64_t(double(clock.nsecsElapsed()) / 1000.0 * speed);
    while (havePending) {
        const int64_t due = passOffsetMicros + (pending.micros - passFirstMicros);
        if (due > playedMicros) {
            const double waitMs = double(due - playedMicros) / 1000.0 / speed;
            timer->start(int(std::ceil(waitMs)));
            return;
        }
        send(pending);
        lastMicros = pending.micros;
        havePending = nextRecord(pending);
        if (!havePending && loop) {
            // The next pass starts one recorded record period after the last record.
            rewindRecords();
            passOffsetMicros += (lastMicros - passFirstMicros) + 20000;
            havePending = nextRecord(pending);
            passFirstMicros = havePending ? pending.micros : 0;
            if (!havePending)
                break; // nothing to loop over
        }
    }
    emit finished();
}

void Replayer::send(const Record &record) {
    switch (record.kind) {
    case Kind::UdpDatagram: {
        quint16 port = 0;
        if (record.source == Telemetry::TELEMETRY_SOURCE_DCS)
            port = endpoints.dcsPort;
        else if (record.source == Telemetry::TELEMETRY_SOURCE_IL2)
            port = endpoints.shturmovikPort;
        else if (record.source == Telemetry::TELEMETRY_SOURCE_CONDOR)
            port = endpoints.condor2Port;
        if (record.source == Telemetry::TELEMETRY_SOURCE_XPLANE) {
            if (!xplane || xplaneSubscriberPort == 0)
                return;
            xplane->writeDatagram(record.payload, xplaneSubscriber, xplaneSubscriberPort);
            ++sent;
            return;
        }
        if (port == 0)
            return;
        socket->writeDatagram(record.payload, endpoints.host, port);
        ++sent;
        return;
    }
    case Kind::HttpBody:
        warthunderDocument = record.payload;
        haveWarthunderDocument = true;
        ++sent;
        return;
    case Kind::MsfsDataBlock:
        ++skipped;
        return;
    }
}
