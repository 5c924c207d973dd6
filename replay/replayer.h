#pragma once

#include "telemetryrecording.h"

#include <QByteArray>
#include <QElapsedTimer>
#include <QHostAddress>
#include <QList>
#include <QObject>
#include <functional>

class QTcpServer;
class QTimer;
class QUdpSocket;

// Where the replay sends each source's records: the simulators' own ports on this machine unless told otherwise.
struct ReplayEndpoints {
    QHostAddress host = QHostAddress(QHostAddress::LocalHost);
    quint16 dcsPort = 29778;
    quint16 shturmovikPort = 29777;
    quint16 condor2Port = 55278;
    quint16 warthunderPort = 8111;
    quint16 xplanePort = 49000;
};

// Sends a recording back at its recorded timing over the transports the simulators use: UDP datagrams to the
// sources' ports, and for War Thunder a local HTTP server that answers every request with the latest
// recorded document whose time has come. For X-Plane it stands where X-Plane listens and sends the recorded
// replies to whoever subscribed last, as X-Plane answers the address a subscription came from. SimConnect
// blocks cannot be sent to a program; they are counted.
class Replayer : public QObject {
    Q_OBJECT

public:
    // `next` hands out the records in time order and returns false at the end; `rewind` starts them again.
    Replayer(std::function<bool(TelemetryRecording::Record &)> next, std::function<void()> rewind,
             const ReplayEndpoints &endpoints = ReplayEndpoints(), QObject *parent = nullptr);

    void setSpeed(double factor) { speed = factor; }
    void setLoop(bool on) { loop = on; }
    // Opens the War Thunder server; false with the reason in `error` when its port is taken.
    bool listenForWarthunder(QString *error);
    // Takes X-Plane's port; false with the reason in `error` when it is taken (X-Plane itself running).
    bool listenForXPlane(QString *error);
    void start();

    qint64 recordsSent() const { return sent; }
    qint64 simConnectBlocksSkipped() const { return skipped; }

signals:
    // The last record went out (never with loop on, unless there is nothing to loop over). Always emitted
    // from the event loop, after start() has returned, also for a recording without records.
    void finished();

private:
    void sendDue();
    void send(const TelemetryRecording::Record &record);
    void answerRequest();
    void takeSubscriptions();

    std::function<bool(TelemetryRecording::Record &)> nextRecord;
    std::function<void()> rewindRecords;
    ReplayEndpoints endpoints;
    double speed = 1.0;
    bool loop = false;
    QUdpSocket *socket = nullptr;
    QUdpSocket *xplane = nullptr;
    QHostAddress xplaneSubscriber;
    quint16 xplaneSubscriberPort = 0; // 0: nobody has subscribed yet, so X-Plane replies have nowhere to go
    QTcpServer *server = nullptr;
    QTimer *timer = nullptr;
    QElapsedTimer clock;
    int64_t passOffsetMicros = 0; // playing time at which the current pass of a loop began
    int64_t passFirstMicros = 0;  // recorded time of the current pass's first record
    int64_t lastMicros = 0;
    TelemetryRecording::Record pending;
    bool havePending = false;
    QByteArray warthunderDocument;
    bool haveWarthunderDocument = false;
    qint64 sent = 0;
    qint64 skipped = 0;
};
