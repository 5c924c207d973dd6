#pragma once

#include "fakesimconnect.h"
#include "fakesimconnectserver.h"

#include <QByteArray>
#include <QStringList>
#include <memory>
#include <vector>

// The scripted SimConnect of fakesimconnect.h with the network in between: the seams it hands out are our
// SimConnect network client, connected to a FakeSimConnectServer on loopback, and what it reports as called
// is what that server received over TCP. The same tests can so run against either.
//
// To keep the scripted message order of the in-process fake, the server does not answer the open (the
// source ignores that answer anyway), and each seam call waits, by spinning the event loop, until the
// packets the source has caused have arrived and the next scripted message has reached the client: the
// client itself never waits. A double for a connection that cannot open is not offered: the network
// client reports its handle held at once and connects on its own.
class FakeSimConnectOverNetwork {
public:
    using DefinitionCall = FakeSimConnect::DefinitionCall;
    using RequestCall = FakeSimConnect::RequestCall;
    using SubscribeCall = FakeSimConnect::SubscribeCall;
    using Message = FakeSimConnect::Message;

    FakeSimConnectOverNetwork();
    ~FakeSimConnectOverNetwork();

    std::unique_ptr<SimConnectSeam> createSeam();

    void queueMessage(const Message &message);
    void queueData(uint32_t requestId, const QByteArray &block);
    void queueEvent(uint32_t eventId);
    void queueQuit();
    int pendingMessages() const { return pending; }

    FakeSimConnectServer server;
    int openCalls = 0;
    int closeCalls = 0;
    int dispatchCalls = 0;
    // Sent calls as the server decoded them.
    const QByteArray &lastClientName;
    const std::vector<DefinitionCall> &definitions;
    const std::vector<RequestCall> &requests;
    const std::vector<SubscribeCall> &subscriptions;
    QStringList journal;

private:
    friend class NetworkSeamRecorder;
    bool getNextMessage(SimConnectSeam &client, SimConnectMessage &message);
    bool allCallsArrived() const;

    int pending = 0;
    // Calls that leave as one packet each on the first connection: the open, definitions, subscriptions and
    // data requests.
    std::size_t callsMade = 0;
};
