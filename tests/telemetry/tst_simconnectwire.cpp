#include "simconnectwire.h"

#include <QRandomGenerator>
#include <QtTest>
#include <cstring>
#include <memory>

namespace {
// A fixed-size text field as SimConnect carries it: the text, then zeros up to the field's size.
QByteArray field(const QByteArray &text, int size) {
    return text + QByteArray(size - int(text.size()), '\0');
}

const unsigned char *bytesOf(const QByteArray &bytes) {
    return reinterpret_cast<const unsigned char *>(bytes.constData());
}
} // namespace

class TestSimConnectWire : public QObject {
    Q_OBJECT

private slots:
    void openPacket() {
        const QByteArray expected = QByteArray::fromHex("28010000" "05000000" "010000f0" "00000000") +
                                    field("Vortane", 256) +
                                    QByteArray::fromHex("00000000" "00" "484b00" "0b000000" "00000000"
                                                        "bbf40000" "03000000");
        const QByteArray packet = SimConnectWire::openPacket("Vortane", 0);
        QCOMPARE(packet.size(), 296);
        QCOMPARE(packet.toHex(), expected.toHex());
    }

    void addToDataDefinitionPacket() {
        const QByteArray expected = QByteArray::fromHex("20020000" "05000000" "0c0000f0" "05000000" "02000000") +
                                    field("PROP MAX RPM PERCENT:1", 256) + field("percent", 256) +
                                    QByteArray::fromHex("04000000" "0000003f" "ffffffff");
        const QByteArray packet = SimConnectWire::addToDataDefinitionPacket(
            2, "PROP MAX RPM PERCENT:1", "percent", SimConnectSeam::DATATYPE_FLOAT64, 0.5f, 0xFFFFFFFFu, 5);
        QCOMPARE(packet.size(), 544);
        QCOMPARE(packet.toHex(), expected.toHex());
    }

    void aMissingUnitIsAnEmptyField() {
        const QByteArray expected = QByteArray::fromHex("20020000" "05000000" "0c0000f0" "13000000" "00000000") +
                                    field("TITLE", 256) + field("", 256) +
                                    QByteArray::fromHex("09000000" "00000000" "ffffffff");
        const QByteArray packet = SimConnectWire::addToDataDefinitionPacket(
            0, "TITLE", nullptr, SimConnectSeam::DATATYPE_STRING256, 0.0f, 0xFFFFFFFFu, 19);
        QCOMPARE(packet.toHex(), expected.toHex());
    }

    void aLongNameIsCutToLeaveItsTerminator() {
        const QByteArray name(300, 'n');
        const QByteArray packet = SimConnectWire::addToDataDefinitionPacket(0, name.constData(), "Bool", 4, 0.0f, 0, 1);
        QCOMPARE(packet.size(), 544);
        QCOMPARE(packet.mid(20, 256), QByteArray(255, 'n') + QByteArray(1, '\0'));
        QCOMPARE(packet.mid(276, 256), field("Bool", 256));
    }

    void requestDataOnSimObjectTypePacket() {
        const QByteArray packet = SimConnectWire::requestDataOnSimObjectTypePacket(3, 2, 1000, 0, 20);
        QCOMPARE(packet.toHex(), QByteArray("20000000" "05000000" "0f0000f0" "14000000"
                                            "03000000" "02000000" "e8030000" "00000000"));
    }

    void subscribeToSystemEventPacket() {
        const QByteArray expected =
            QByteArray::fromHex("14010000" "05000000" "170000f0" "15000000" "01000000") + field("SimStop", 256);
        const QByteArray packet = SimConnectWire::subscribeToSystemEventPacket(1, "SimStop", 21);
        QCOMPARE(packet.size(), 276);
        QCOMPARE(packet.toHex(), expected.toHex());
    }

    void renumbersAPacket() {
        QByteArray packet = SimConnectWire::requestDataOnSimObjectTypePacket(0, 0, 0, 0, 0);
        SimConnectWire::setSendNumber(packet, 0x01020304u);
        QCOMPARE(packet.mid(12, 4).toHex(), QByteArray("04030201"));
        QCOMPARE(packet.left(12).toHex(), QByteArray("20000000" "05000000" "0f0000f0"));
        QByteArray tooShort("\x01\x02", 2);
        SimConnectWire::setSendNumber(tooShort, 7);
        QCOMPARE(tooShort, QByteArray("\x01\x02", 2));
    }

    void framing_data() {
        QTest::addColumn<QByteArray>("stream");
        QTest::addColumn<int>("frame");
        QTest::addColumn<quint32>("size");
        const int incomplete = int(SimConnectWire::Frame::Incomplete);
        const int complete = int(SimConnectWire::Frame::Complete);
        const int invalid = int(SimConnectWire::Frame::Invalid);
        QTest::newRow("nothing") << QByteArray() << incomplete << 0u;
        QTest::newRow("three bytes of a size") << QByteArray::fromHex("0c0000") << incomplete << 0u;
        QTest::newRow("a bare header") << QByteArray::fromHex("0c000000" "05000000" "03000000") << complete << 12u;
        QTest::newRow("header and more") << QByteArray::fromHex("0c000000" "05000000" "03000000" "ff") << complete
                                         << 12u;
        QTest::newRow("half a header") << QByteArray::fromHex("0c000000" "0500") << incomplete << 12u;
        QTest::newRow("size zero") << QByteArray::fromHex("00000000" "05000000" "03000000") << invalid << 0u;
        QTest::newRow("size eleven") << QByteArray::fromHex("0b000000" "05000000" "03000000") << invalid << 11u;
        QTest::newRow("exactly 1 MiB, not all there") << QByteArray::fromHex("00001000" "05000000") << incomplete
                                                      << 1048576u;
        QTest::newRow("1 MiB and a byte") << QByteArray::fromHex("01001000") << invalid << 1048577u;
        QTest::newRow("all bits set") << QByteArray::fromHex("ffffffff") << invalid << 0xFFFFFFFFu;
    }

    void framing() {
        QFETCH(QByteArray, stream);
        QFETCH(int, frame);
        QFETCH(quint32, size);
        uint32_t found = 0;
        QCOMPARE(int(SimConnectWire::inspectFrame(bytesOf(stream), size_t(stream.size()), found)), frame);
        QCOMPARE(found, size);
    }

    void decoding_data() {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<quint32>("id");
        QTest::addColumn<quint32>("requestId");
        QTest::addColumn<quint32>("eventId");
        QTest::addColumn<int>("dataSize");
        const quint32 none = SimConnectMessage::NoId;
        QTest::newRow("quit") << QByteArray::fromHex("0c000000" "05000000" "03000000") << 3u << none << none << 0;
        QTest::newRow("event") << QByteArray::fromHex("18000000" "05000000" "04000000" "ffffffff" "01000000"
                                                      "00000000")
                               << 4u << none << 1u << 0;
        QTest::newRow("event cut before its id") << QByteArray::fromHex("13000000" "05000000" "04000000"
                                                                        "ffffffff" "010000")
                                                 << 4u << none << none << 0;
        QTest::newRow("data with a block")
            << QByteArray::fromHex("2c000000" "05000000" "09000000" "07000000" "01000000" "00000000" "00000000"
                                   "01000000" "01000000" "13000000" "aabbccdd")
            << 9u << 7u << none << 4;
        QTest::newRow("data without a block")
            << QByteArray::fromHex("28000000" "05000000" "09000000" "00000000" "01000000" "00000000" "00000000"
                                   "01000000" "01000000" "13000000")
            << 9u << 0u << none << 0;
        QTest::newRow("data with only its request id")
            << QByteArray::fromHex("10000000" "05000000" "09000000" "02000000") << 9u << 2u << none << 0;
        QTest::newRow("data cut inside its request id")
            << QByteArray::fromHex("0f000000" "05000000" "09000000" "020000") << 9u << none << none << 0;
        QTest::newRow("unknown id") << QByteArray::fromHex("14000000" "05000000" "39300000" "00000000" "01000000")
                                    << 12345u << none << none << 0;
        QTest::newRow("exception") << QByteArray::fromHex("18000000" "05000000" "01000000" "07000000" "03000000"
                                                          "02000000")
                                   << 1u << none << none << 0;
    }

    void decoding() {
        QFETCH(QByteArray, bytes);
        QFETCH(quint32, id);
        QFETCH(quint32, requestId);
        QFETCH(quint32, eventId);
        QFETCH(int, dataSize);
        SimConnectMessage message;
        message.size = 99; // left over from an earlier message
        SimConnectWire::decodeMessage(bytesOf(bytes), size_t(bytes.size()), message);
        QCOMPARE(message.id, id);
        QCOMPARE(message.requestId, requestId);
        QCOMPARE(message.eventId, eventId);
        QCOMPARE(int(message.size), dataSize);
        if (dataSize > 0) {
            QCOMPARE(message.data, bytesOf(bytes) + 40);
            QCOMPARE(QByteArray(reinterpret_cast<const char *>(message.data), dataSize), bytes.mid(40));
        } else {
            QVERIFY(message.data == nullptr);
        }
    }

    // Hostile streams, framed and decoded as the client does: every message handed on lies inside its own
    // exactly-sized copy, whatever the bytes say.
    void randomStreamsStayInsideTheirMessages() {
        int messages = 0, invalid = 0;
        for (quint32 seed = 1; seed <= 2000; ++seed) {
            QRandomGenerator random(seed);
            QByteArray stream(int(random.bounded(200)), '\0');
            for (char &byte : stream)
                byte = char(random.bounded(256));
            // Many streams start with a small size field, so that whole messages of every id turn up.
            if (seed % 2 == 0 && stream.size() >= 12) {
                const quint32 size = 12 + random.bounded(quint32(stream.size()) - 11);
                for (int i = 0; i < 4; ++i)
                    stream[i] = char((size >> (8 * i)) & 0xFF);
                const quint32 id = random.bounded(12);
                for (int i = 0; i < 4; ++i)
                    stream[8 + i] = char((id >> (8 * i)) & 0xFF);
            }
            qsizetype at = 0;
            for (;;) {
                uint32_t size = 0;
                const auto frame = SimConnectWire::inspectFrame(bytesOf(stream) + at, size_t(stream.size() - at), size);
                if (frame == SimConnectWire::Frame::Invalid) {
                    QVERIFY(size < 12 || size > (1u << 20));
                    ++invalid;
                    break;
                }
                if (frame == SimConnectWire::Frame::Incomplete)
                    break;
                QVERIFY(size >= 12 && qsizetype(size) <= stream.size() - at);
                std::unique_ptr<unsigned char[]> copy(new unsigned char[size]);
                std::memcpy(copy.get(), stream.constData() + at, size);
                SimConnectMessage message;
                SimConnectWire::decodeMessage(copy.get(), size, message);
                if (message.data) {
                    QVERIFY(message.data == copy.get() + 40);
                    QCOMPARE(message.data + message.size, copy.get() + size);
                } else {
                    QCOMPARE(message.size, size_t(0));
                }
                if (message.id != SimConnectMessage::IdEvent)
                    QCOMPARE(message.eventId, SimConnectMessage::NoId);
                if (message.id != SimConnectMessage::IdSimObjectDataByType)
                    QCOMPARE(message.requestId, SimConnectMessage::NoId);
                ++messages;
                at += size;
            }
        }
        // The streams did reach both outcomes.
        QVERIFY(messages > 500);
        QVERIFY(invalid > 500);
    }
};

QTEST_GUILESS_MAIN(TestSimConnectWire)
#include "tst_simconnectwire.moc"
