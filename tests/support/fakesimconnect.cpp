#include "fakesimconnect.h"

#include <cstring>

class FakeSimConnectSeam final : public SimConnectSeam {
public:
    explicit FakeSimConnectSeam(FakeSimConnect &fake) : fake(fake) {}

    bool open(const char *clientName) override { return fake.open(clientName); }
    void addToDataDefinition(uint32_t definitionId, const char *datumName, const char *unitsName,
                             DataType datumType, float epsilon, uint32_t datumId) override {
        fake.addToDataDefinition(definitionId, datumName, unitsName, datumType, epsilon, datumId);
    }
    void requestDataOnSimObjectType(uint32_t requestId, uint32_t definitionId, uint32_t radiusMeters,
                                    uint32_t objectType) override {
        fake.requestDataOnSimObjectType(requestId, definitionId, radiusMeters, objectType);
    }
    void subscribeToSystemEvent(uint32_t eventId, const char *systemEventName) override {
        fake.subscribeToSystemEvent(eventId, systemEventName);
    }
    bool getNextMessage(SimConnectMessage &message) override { return fake.getNextMessage(message); }
    void close() override { fake.close(); }

private:
    FakeSimConnect &fake;
};

std::unique_ptr<SimConnectSeam> FakeSimConnect::createSeam() {
    return std::make_unique<FakeSimConnectSeam>(*this);
}

void FakeSimConnect::queueData(uint32_t requestId, const QByteArray &block) {
    Message message;
    message.id = SimConnectMessage::IdSimObjectDataByType;
    message.requestId = requestId;
    message.data = block;
    queueMessage(message);
}

void FakeSimConnect::queueEvent(uint32_t eventId) {
    Message message;
    message.id = SimConnectMessage::IdEvent;
    message.eventId = eventId;
    queueMessage(message);
}

void FakeSimConnect::queueQuit() {
    Message message;
    message.id = SimConnectMessage::IdQuit;
    queueMessage(message);
}

bool FakeSimConnect::open(const char *clientName) {
    ++openCalls;
    lastClientName = QByteArray(clientName);
    journal << QStringLiteral("Open");
    connected = openSucceeds;
    return connected;
}

void FakeSimConnect::addToDataDefinition(uint32_t definitionId, const char *datumName, const char *unitsName,
                                         SimConnectSeam::DataType datumType, float epsilon,
                                         uint32_t datumId) {
    journal << QStringLiteral("AddToDataDefinition");
    definitions.push_back({definitionId, QByteArray(datumName),
                           unitsName ? QByteArray(unitsName) : QByteArray(), datumType, epsilon, datumId});
}

void FakeSimConnect::requestDataOnSimObjectType(uint32_t requestId, uint32_t definitionId,
                                                uint32_t radiusMeters, uint32_t objectType) {
    journal << QStringLiteral("RequestDataOnSimObjectType");
    requests.push_back({requestId, definitionId, radiusMeters, objectType});
}

void FakeSimConnect::subscribeToSystemEvent(uint32_t eventId, const char *systemEventName) {
    journal << QStringLiteral("SubscribeToSystemEvent");
    subscriptions.push_back({eventId, QByteArray(systemEventName)});
}

bool FakeSimConnect::getNextMessage(SimConnectMessage &message) {
    ++dispatchCalls;
    journal << QStringLiteral("GetNextDispatch");
    if (!connected || pending.empty())
        return false;
    const Message next = pending.front();
    pending.pop_front();

    delivered.reset();
    message = SimConnectMessage();
    message.id = next.id;
    message.requestId = next.requestId;
    message.eventId = next.eventId;
    if (!next.data.isEmpty()) {
        delivered.reset(new unsigned char[std::size_t(next.data.size())]);
        std::memcpy(delivered.get(), next.data.constData(), std::size_t(next.data.size()));
        message.data = delivered.get();
        message.size = std::size_t(next.data.size());
    }
    return true;
}

void FakeSimConnect::close() {
    ++closeCalls;
    journal << QStringLiteral("Close");
    connected = false;
}
