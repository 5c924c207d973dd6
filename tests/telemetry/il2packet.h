#pragma once

#include <QByteArray>
#include <QVector>
#include <QtEndian>
#include <cstring>

// Builds IL-2 Sturmovik telemetry packets: the 10-byte header (id 0x54000101, size, tick), the indicator
// count and the indicators.
class Il2Packet {
public:
    Il2Packet &indicator(quint16 id, const QVector<float> &values) {
        return rawIndicator(id, qint8(values.size()), values);
    }
    // An indicator whose count byte need not match the values that follow.
    Il2Packet &rawIndicator(quint16 id, qint8 count, const QVector<float> &values) {
        char head[3];
        qToLittleEndian<quint16>(id, head);
        head[2] = char(count);
        body.append(head, 3);
        for (float value : values) {
            quint32 bits;
            std::memcpy(&bits, &value, sizeof bits);
            char bytes[4];
            qToLittleEndian<quint32>(bits, bytes);
            body.append(bytes, 4);
        }
        ++indicators;
        return *this;
    }
    Il2Packet &append(const QByteArray &bytes) {
        body.append(bytes);
        return *this;
    }
    // The packet with the true indicator count, or with `count` as the count byte.
    QByteArray bytes() const { return bytesWithCount(qint8(indicators)); }
    QByteArray bytesWithCount(qint8 count) const {
        QByteArray packet(10, '\0');
        qToLittleEndian<quint32>(0x54000101u, packet.data());
        qToLittleEndian<quint16>(quint16(11 + body.size()), packet.data() + 4);
        qToLittleEndian<quint32>(1234u, packet.data() + 6);
        packet.append(char(count));
        packet.append(body);
        return packet;
    }

private:
    QByteArray body;
    int indicators = 0;
};
