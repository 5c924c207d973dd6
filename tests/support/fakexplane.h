#pragma once

#include <QByteArray>
#include <QHash>
#include <QHostAddress>
#include <QMap>
#include <QObject>
#include <QStringList>
#include <QTimer>
#include <QUdpSocket>

// X-Plane's UDP interface as far as the program uses it, on a real loopback socket: it takes "RREF"
// subscriptions, checks their 413-byte layout, and answers every subscriber at the rate it asked for with the
// current values of a scripted flight (set with `set` and `setAircraftName`). Unknown datarefs read 0, as in
// X-Plane.
class FakeXPlane : public QObject {
    Q_OBJECT

public:
    struct Subscription {
        QByteArray dataref;
        qint32 frequency = 0;
    };

    // Listens on `address` (any free port unless `port` is given).
    explicit FakeXPlane(const QHostAddress &address = QHostAddress(QHostAddress::LocalHost), quint16 port = 0,
                        QObject *parent = nullptr);

    bool isListening() const { return socket.state() == QAbstractSocket::BoundState; }
    quint16 port() const { return socket.localPort(); }

    void set(const QByteArray &dataref, float value) { values[dataref] = value; }
    float value(const QByteArray &dataref) const { return values.value(dataref); }
    // sim/aircraft/view/acf_ui_name[0..63]: the bytes of `name`, then zeros.
    void setAircraftName(const QByteArray &name);

    // Stops or resumes answering; subscriptions are kept either way.
    void setAnswering(bool on) { answering = on; }
    // As after a restart of the simulator: every subscription is forgotten.
    void forgetSubscriptions() { subscriptions.clear(); }

    // Answers every subscriber at once with all its values, in as many datagrams as `pairsPerDatagram`
    // allows.
    void answerNow(int pairsPerDatagram = 0);

    // Our index -> what was asked for under it (the latest request wins; frequency 0 unsubscribes).
    QMap<qint32, Subscription> subscriptionsByIndex() const { return subscriptions; }
    int requestCount() const { return requests; }
    int repliesSent() const { return replies; }
    // Why each rejected request was rejected (a wrong size, header or padding).
    QStringList malformedRequests() const { return malformed; }
    QHostAddress subscriberAddress() const { return subscriber; }
    quint16 subscriberPort() const { return subscriberPortNumber; }

private:
    void readRequests();
    void takeRequest(const QByteArray &request, const QHostAddress &from, quint16 fromPort);
    void restartTimer();

    QUdpSocket socket;
    QTimer timer;
    QHash<QByteArray, float> values;
    QMap<qint32, Subscription> subscriptions;
    QHostAddress subscriber;
    quint16 subscriberPortNumber = 0;
    bool answering = true;
    int requests = 0;
    int replies = 0;
    QStringList malformed;
};
