#include "fakesimconnectovernetwork.h"

#include "simconnectnetwork.h"

class NetworkSeamRecorder final : public SimConnectSeam {
public:
    NetworkSeamRecorder(FakeSimConnectOverNetwork &fake, const SimConnectEndpoint &endpoint)
        : fake(fake), client(endpoint) {}

    bool open(const char *clientName) override {
        ++fake.openCalls;
        ++fake.callsMade;
        fake.journal << QStringLiteral("Open");
        return client.open(clientName);
    }
    void addToDataDefinition(uint32_t definitionId, const char *datumName, const char *unitsName,
                             DataType datumType, float epsilon, uint32_t datumId) override {
        ++fake.callsMade;
        fake.journal << QStringLiteral("AddToDataDefinition");
        client.addToDataDefinition(definitionId, datumName, unitsName, datumType, epsilon, datumId);
        arrive();
    }
    void requestDataOnSimObjectType(uint32_t requestId, uint32_t definitionId, uint32_t radiusMeters,
                                    uint32_t objectType) override {
        ++fake.callsMade;
        fake.journal << QStringLiteral("RequestDataOnSimObjectType");
        client.requestDataOnSimObjectType(requestId, definitionId, radiusMeters, objectType);
        arrive();
    }
    void subscribeToSystemEvent(uint32_t eventId, const char *systemEventName) override {
        ++fake.callsMade;
        fake.journal << QStringLiteral("SubscribeToSystemEvent");
        client.subscribeToSystemEvent(eventId, systemEventName);
        arrive();
    }
    bool getNextMessage(SimConnectMessage &message) override {
        ++fake.dispatchCalls;
        fake.journal << QStringLiteral("GetNextDispatch");
        return fake.getNextMessage(client, message);
    }
    void close() override {
        ++fake.closeCalls;
        fake.journal << QStringLiteral("Close");
        client.close();
    }

private:
    // A call made while connected leaves at once; the server has it before the source goes on. (Calls made
    // before the connection is up leave with it, which the next dispatch waits for.)
    void arrive() {
        if (client.isConnected())
            FakeSimConnectServer::waitFor([this] { return fake.allCallsArrived(); });
    }

    FakeSimConnectOverNetwork &fake;
    SimConnectNetworkClient client;
};

FakeSimConnectOverNetwork::FakeSimConnectOverNetwork()
    : lastClientName(server.clientName), definitions(server.definitions), requests(server.requests),
      subscriptions(server.subscriptions) {
    server.answerOpen = false;
    server.listen();
}

FakeSimConnectOverNetwork::~FakeSimConnectOverNetwork() = default;

std::unique_ptr<SimConnectSeam> FakeSimConnectOverNetwork::createSeam() {
    SimConnectEndpoint endpoint;
    endpoint.port = server.port();
    return std::make_unique<NetworkSeamRecorder>(*this, endpoint);
}

void FakeSimConnectOverNetwork::queueMessage(const Message &message) {
    ++pending;
    server.sendMessage(message);
}

void FakeSimConnectOverNetwork::queueData(uint32_t requestId, const QByteArray &block) {
    Message message;
    message.id = SimConnectMessage::IdSimObjectDataByType;
    message.requestId = requestId;
    message.data = block;
    queueMessage(message);
}

void FakeSimConnectOverNetwork::queueEvent(uint32_t eventId) {
    Message message;
    message.id = SimConnectMessage::IdEvent;
    message.eventId = eventId;
    queueMessage(message);
}

void FakeSimConnectOverNetwork::queueQuit() {
    Message message;
    message.id = SimConnectMessage::IdQuit;
    queueMessage(message);
}

bool FakeSimConnectOverNetwork::allCallsArrived() const {
    return server.packets.size() >= callsMade;
}

// One dispatch of the client, after the wire has caught up: every call so far has reached the server and,
// when a scripted message is due, it has reached the client.
bool FakeSimConnectOverNetwork::getNextMessage(SimConnectSeam &client, SimConnectMessage &message) {
    bool got = false;
    FakeSimConnectServer::waitFor([&] {
        got = client.getNextMessage(message);
        return got || (pending == 0 && allCallsArrived());
    });
    if (got && pending > 0)
        --pending;
    return got;
}
