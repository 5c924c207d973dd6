#pragma once

#include <QByteArray>
#include <QHash>
#include <QHostAddress>
#include <QList>
#include <QMap>
#include <QObject>
#include <QSet>
#include <QStringList>
#include <QTimer>
#include <QUdpSocket>

// X-Plane's UDP interface as far as the program uses it, on a real loopback socket: it takes "RREF"
// subscriptions, checks their 413-byte layout, keeps them per sender (address and port) and answers every
// subscriber at the rate it asked for with the current values of a scripted flight (set with `set`,
// `setAircraftName` and `setAircraftDescription`).
//
// It plays one version, 11 or 12, and knows only that version's datarefs, as listed in its DataRefs.txt
// (tests/telemetry/data/xplane); an element of an array dataref must lie inside the array's declared size
// where the list gives one. A dataref it does not know is answered as X-Plane may do it: with zeros, or not
// at all.
class FakeXPlane : public QObject {
    Q_OBJECT

public:
    enum class Version { XPlane11, XPlane12 };
    enum class Unknown { Zeros, Silence };

    struct Subscription {
        QByteArray dataref;
        qint32 frequency = 0;
    };
    struct Subscriber {
        QHostAddress address;
        quint16 port = 0;
        QMap<qint32, Subscription> subscriptions; // our index -> the latest request under it
        QSet<qint32> unsubscribed;                // indexes that got frequency 0, ever
        int repliesSent = 0;
    };

    // Listens on `address` (any free port unless `port` is given).
    explicit FakeXPlane(const QHostAddress &address = QHostAddress(QHostAddress::LocalHost), quint16 port = 0,
                        QObject *parent = nullptr, Version version = Version::XPlane12,
                        Unknown unknown = Unknown::Zeros);

    bool isListening() const { return socket.state() == QAbstractSocket::BoundState; }
    quint16 port() const { return socket.localPort(); }

    void set(const QByteArray &dataref, float value) { values[dataref] = value; }
    float value(const QByteArray &dataref) const { return values.value(dataref); }
    // sim/aircraft/view/acf_ui_name[0..63]: the bytes of `name`, then zeros.
    void setAircraftName(const QByteArray &name);
    // sim/aircraft/view/acf_descrip[0..63]: the bytes of `description`, then zeros.
    void setAircraftDescription(const QByteArray &description);

    // Whether the version played lists `dataref` ("path" or "path[element]").
    bool knows(const QByteArray &dataref) const;
    // The names listed for a version, with the type column where the list has one (else empty).
    static const QHash<QByteArray, QByteArray> &datarefList(Version version);

    // Stops or resumes answering; subscriptions are kept either way.
    void setAnswering(bool on) { answering = on; }
    // As after a restart of the simulator: every subscription is forgotten.
    void forgetSubscriptions();

    // Answers every subscriber at once with all its values, in as many datagrams as `pairsPerDatagram`
    // allows.
    void answerNow(int pairsPerDatagram = 0);

    // The latest subscriber's subscriptions by index (frequency 0 removes one).
    QMap<qint32, Subscription> subscriptionsByIndex() const;
    QList<Subscriber> subscribers() const { return senders; }
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
    void answer(Subscriber &to, int pairsPerDatagram);
    void setBytes(const QByteArray &dataref, const QByteArray &bytes);

    QUdpSocket socket;
    QTimer timer;
    Version version;
    Unknown unknown;
    QHash<QByteArray, float> values;
    QList<Subscriber> senders;
    QHostAddress subscriber;
    quint16 subscriberPortNumber = 0;
    bool answering = true;
    int requests = 0;
    int replies = 0;
    QStringList malformed;
};
