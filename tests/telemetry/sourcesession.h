#pragma once

#include "telemetrytesting.h"
#include "udpsender.h"

#include <QSignalSpy>
#include <QtTest>

// Drives one UDP source over a real socket: send a datagram, poll until the source has reacted.
template <typename Source, typename Record>
class SourceSession {
public:
    SourceSession()
        : source(nullptr, 0), sender(source.localPort()), declared(&source, &TelemetrySource::telemetrySourceChanged),
          ended(&source, &TelemetrySource::telemetryEnded), landed(&source, &TelemetrySource::landed) {
        QObject::connect(&source, &Source::telemetryChanged, [this](const Record &record) { records << record; });
    }

    // Sends and polls until the number of declarations plus records has grown by one.
    bool deliver(const QByteArray &datagram) {
        const int before = reactions();
        if (!sender.send(datagram))
            return false;
        return pollUntil([this] { source.poll(); }, [&] { return reactions() == before + 1; });
    }

    int reactions() const { return declared.count() + records.size(); }

    Source source;
    UdpSender sender;
    QSignalSpy declared;
    QSignalSpy ended;
    QSignalSpy landed;
    QList<Record> records;
};
