#pragma once

#include "simconnectseam.h"

#include <QByteArray>
#include <QStringList>
#include <cstdint>
#include <deque>
#include <memory>
#include <vector>

// A scripted SimConnect for tests. It records every call made through the seams it hands out and delivers
// the queued messages one per getNextMessage. The FakeSimConnect must outlive the seams it created.
class FakeSimConnect {
public:
    struct DefinitionCall {
        uint32_t definitionId;
        QByteArray datumName;
        QByteArray unitsName; // a null QByteArray when the call passed no unit
        SimConnectSeam::DataType datumType;
        float epsilon;
        uint32_t datumId;
    };
    struct RequestCall {
        uint32_t requestId;
        uint32_t definitionId;
        uint32_t radiusMeters;
        uint32_t objectType;
    };
    struct SubscribeCall {
        uint32_t eventId;
        QByteArray systemEventName;
    };
    struct Message {
        uint32_t id = 0;
        uint32_t requestId = SimConnectMessage::NoId;
        uint32_t eventId = SimConnectMessage::NoId;
        QByteArray data;
    };

    // A seam that forwards to this fake.
    std::unique_ptr<SimConnectSeam> createSeam();

    // Scripting.
    void setOpenSucceeds(bool succeeds) { openSucceeds = succeeds; }
    void queueMessage(const Message &message) { pending.push_back(message); }
    void queueData(uint32_t requestId, const QByteArray &block);
    void queueEvent(uint32_t eventId);
    void queueQuit();
    int pendingMessages() const { return int(pending.size()); }

    // What the seams were asked to do.
    int openCalls = 0;
    int closeCalls = 0;
    int dispatchCalls = 0;
    QByteArray lastClientName;
    std::vector<DefinitionCall> definitions;
    std::vector<RequestCall> requests;
    std::vector<SubscribeCall> subscriptions;
    // Every call in order, by SimConnect function name without its prefix ("Open", "AddToDataDefinition", …).
    QStringList journal;

private:
    friend class FakeSimConnectSeam;

    bool open(const char *clientName);
    void addToDataDefinition(uint32_t definitionId, const char *datumName, const char *unitsName,
                             SimConnectSeam::DataType datumType, float epsilon, uint32_t datumId);
    void requestDataOnSimObjectType(uint32_t requestId, uint32_t definitionId, uint32_t radiusMeters,
                                    uint32_t objectType);
    void subscribeToSystemEvent(uint32_t eventId, const char *systemEventName);
    bool getNextMessage(SimConnectMessage &message);
    void close();

    bool openSucceeds = true;
    bool connected = false;
    std::deque<Message> pending;
    // The bytes of the last delivered message, sized exactly so a read past them is caught by ASan.
    std::unique_ptr<unsigned char[]> delivered;
};
