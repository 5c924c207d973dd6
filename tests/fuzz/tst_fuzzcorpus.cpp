// Replays the fuzzers' regression inputs (fuzz/corpus/<target>/ and the hand-written seeds in
// fuzz/seeds/<target>/) through the same entry points the libFuzzer targets call, without libFuzzer. Each
// target's decoder state carries over from one input to the next, as in a fuzzing run, and a well-formed
// input afterwards must still decode to exactly its values: a hostile input may be dropped, but it must not
// leave the decoder broken.
#include "profilereader.h"
#include "profilestore.h"
#include "profilewriter.h"
#include "simconnectnetwork.h"
#include "simconnectwire.h"
#include "telemetrysourcecondor2.h"
#include "telemetrysourcedcs.h"
#include "telemetrysourceshturmovik.h"
#include "telemetrysourcewarthunder.h"
#include "telemetrysourcexplane.h"

#include <QDir>
#include <QFile>
#include <QtEndian>
#include <QtTest>

#include <cstring>

namespace {
QList<QByteArray> inputsOf(const QString &target) {
    QList<QByteArray> inputs;
    for (const char *root : {QUILLAR_FUZZ_CORPUS_DIR, QUILLAR_FUZZ_SEEDS_DIR}) {
        const QDir dir(QString::fromLocal8Bit(root) + QLatin1Char('/') + target);
        for (const QString &name : dir.entryList(QDir::Files | QDir::Hidden, QDir::Name)) {
            QFile file(dir.filePath(name));
            if (file.open(QIODevice::ReadOnly))
                inputs.append(file.readAll());
        }
    }
    return inputs;
}

void appendFloat(QByteArray &packet, float value) {
    quint32 bits;
    std::memcpy(&bits, &value, sizeof bits);
    char bytes[4];
    qToLittleEndian(bits, bytes);
    packet.append(bytes, 4);
}

void appendIndicator(QByteArray &packet, quint16 id, std::initializer_list<float> values) {
    char header[2];
    qToLittleEndian(id, header);
    packet.append(header, 2);
    packet.append(char(values.size()));
    for (float value : values)
        appendFloat(packet, value);
}

// An IL-2 packet carrying every indicator the decoder reads, so nothing of an earlier packet shows through.
QByteArray il2Packet(float altitude) {
    QByteArray packet(10, '\0'); // the header's contents are not read
    packet.append(char(11));
    appendIndicator(packet, 0, {3700});  // engine A
    appendIndicator(packet, 1, {50000}); // engine B: 3700 * 50000 / 100000 / 3700 = 0.5
    appendIndicator(packet, 4, {1, 0.5f});
    appendIndicator(packet, 5, {0});     // no wheel load: airborne
    appendIndicator(packet, 6, {100});   // m/s
    appendIndicator(packet, 7, {0.25f}); // rad
    appendIndicator(packet, 8, {1, 2, 3});
    appendIndicator(packet, 9, {4.5f, -2.25f});
    appendIndicator(packet, 10, {altitude});
    appendIndicator(packet, 11, {0.75f});
    appendIndicator(packet, 12, {0.125f});
    return packet;
}

EffectsProfile knownProfile() {
    EffectsProfile profile;
    profile.settings.reset();
    profile.metadata.source = Telemetry::TELEMETRY_SOURCE_DCS;
    profile.metadata.flightModule = QStringLiteral("F-16C_50");
    profile.metadata.comment = QStringLiteral("replay");
    AxisEffectsSettings &elevator = profile.settings.axes[1];
    elevator.elevatorWeight.active = true;
    elevator.elevatorWeight.total_effect_strength = 35;
    elevator.simpleSpring.active = true;
    elevator.simpleSpring.total_effect_strength = 12.5f;
    return profile;
}
} // namespace

class TestFuzzCorpus : public QObject {
    Q_OBJECT

private slots:
    void dcsDatagrams() {
        const QList<QByteArray> inputs = inputsOf(QStringLiteral("fuzz_dcs"));
        QVERIFY2(!inputs.isEmpty(), "no DCS corpus");
        DCSTelemetry record;
        for (const QByteArray &input : inputs) {
            bool landed = false;
            decodeDcsDatagram(input, record, &landed);
            dcsFlightModuleName(input);
        }
        const QByteArray valid("A-10C;360;5;4.5;2.5;1;0;0.5;0.25;0");
        bool landed = true;
        QVERIFY(decodeDcsDatagram(valid, record, &landed));
        QCOMPARE(landed, false);
        QCOMPARE(record.airspeed, 360.0f);
        QCOMPARE(record.verticalSpeed, 5.0f);
        QCOMPARE(record.aoa, 4.5f);
        QCOMPARE(record.gForce, 2.5f);
        QCOMPARE(record.gear, 100.0f);
        QCOMPARE(record.airbrake, 0.0f);
        QCOMPARE(record.flaps, 50.0f);
        QCOMPARE(record.propAirflow, 0.25f);
        QCOMPARE(record.onGround, false);
        QCOMPARE(dcsFlightModuleName(valid), QStringLiteral("A-10C"));
    }

    void il2Packets() {
        const QList<QByteArray> inputs = inputsOf(QStringLiteral("fuzz_il2"));
        QVERIFY2(!inputs.isEmpty(), "no IL-2 corpus");
        ShturmovikDecoder decoder;
        ShturmovikTelemetry record;
        for (const QByteArray &input : inputs) {
            bool landed = false;
            decoder.decode(input, record, &landed);
        }
        // The vertical-speed ring is shared and never reset, so the corpus leaves its differences there; one
        // packet sets the altitude and 25 more at the same altitude fill the ring with zeros.
        for (int i = 0; i < ShturmovikDecoder::RingSize + 1; ++i)
            QCOMPARE(decoder.decode(il2Packet(1500), record, nullptr), ShturmovikDecoder::Result::Decoded);
        QCOMPARE(record.airspeed, float(100.0f * 3.6));
        QCOMPARE(record.aoa, float(0.25f * 57.2958));
        QCOMPARE(record.verticalSpeed, 0.0f);
        QCOMPARE(record.gear, 75.0f);
        QCOMPARE(record.airbrake, 12.5f);
        QCOMPARE(record.flaps, 75.0f);
        QCOMPARE(record.propAirflow, 0.5f);
        QCOMPARE(record.indicator9First, 4.5f);
        QCOMPARE(record.indicator9Second, -2.25f);
        QCOMPARE(record.onGround, false);
        // A climb of 2 per packet over the whole ring reads as 25 * 2.
        for (int i = 1; i <= ShturmovikDecoder::RingSize; ++i)
            decoder.decode(il2Packet(1500 + 2.0f * i), record, nullptr);
        QCOMPARE(record.verticalSpeed, 50.0f);
    }

    void condorDatagrams() {
        const QList<QByteArray> inputs = inputsOf(QStringLiteral("fuzz_condor"));
        QVERIFY2(!inputs.isEmpty(), "no Condor corpus");
        Condor2Telemetry record;
        for (const QByteArray &input : inputs)
            decodeCondorDatagram(input, record);
        decodeCondorDatagram("airspeed=50\ngforce=1.5\nturbulencestrength=0.25\n", record);
        QCOMPARE(record.airspeed, 180.0f);
        QCOMPARE(record.gForce, 1.5f);
        QCOMPARE(record.turbulenceStrength, 0.25f);
    }

    void warthunderStates() {
        const QList<QByteArray> inputs = inputsOf(QStringLiteral("fuzz_warthunder"));
        QVERIFY2(!inputs.isEmpty(), "no War Thunder corpus");
        WarthunderTelemetry record;
        for (const QByteArray &input : inputs)
            decodeWarthunderState(input, record);
        decodeWarthunderState(R"({"valid": true, "IAS, km/h": 420, "Ny": 2.5, "AoA, deg": 6.5})", record);
        QCOMPARE(record.airspeed, 420.0f);
        QCOMPARE(record.gForce, 2.5f);
        QCOMPARE(record.aoa, 6.5f);
    }

    // Every stream of the SimConnect corpus fed to the client's own receive path in pieces of 1 to 7 bytes,
    // each message handed out in a buffer of exactly its size; then a whole data message still decodes to
    // its request and block.
    void simconnectStreams() {
        const QList<QByteArray> inputs = inputsOf(QStringLiteral("fuzz_simconnect"));
        QVERIFY2(!inputs.isEmpty(), "no SimConnect corpus");
        int messages = 0;
        for (const QByteArray &input : inputs) {
            SimConnectReceiver receiver;
            qsizetype offset = 0;
            for (int piece = 1; offset < input.size(); piece = piece % 7 + 1) {
                offset += receiver.append(input.constData() + offset,
                                          qMin<qsizetype>(piece, input.size() - offset));
                SimConnectMessage message;
                uint32_t size = 0;
                SimConnectReceiver::Result result;
                while ((result = receiver.next(message, size)) == SimConnectReceiver::Result::Message) {
                    QVERIFY(message.size <= size);
                    ++messages;
                }
                if (result == SimConnectReceiver::Result::Invalid)
                    break;
            }
        }
        QVERIFY(messages > 0);

        QByteArray data;
        auto word = [&data](quint32 value) {
            char bytes[4];
            qToLittleEndian(value, bytes);
            data.append(bytes, 4);
        };
        word(12 + 28 + 400);
        word(5);
        word(SimConnectMessage::IdSimObjectDataByType);
        for (quint32 value : {0u, 1u, 0u, 0u, 1u, 1u, 19u}) // request 0, user object, definition 0, …
            word(value);
        data.append(QByteArray(400, 'b'));
        uint32_t size = 0;
        QCOMPARE(SimConnectWire::inspectFrame(reinterpret_cast<const unsigned char *>(data.constData()),
                                              std::size_t(data.size()), size),
                 SimConnectWire::Frame::Complete);
        QCOMPARE(size, uint32_t(440));
        SimConnectMessage message;
        SimConnectWire::decodeMessage(reinterpret_cast<const unsigned char *>(data.constData()), size,
                                      message);
        QCOMPARE(message.id, SimConnectMessage::IdSimObjectDataByType);
        QCOMPARE(message.requestId, uint32_t(0));
        QCOMPARE(message.size, std::size_t(400));
        QCOMPARE(int(message.data[399]), int('b'));
    }

    void xplaneReplies() {
        const QList<QByteArray> inputs = inputsOf(QStringLiteral("fuzz_xplane"));
        QVERIFY2(!inputs.isEmpty(), "no X-Plane corpus");
        XPlane::ReplyState state;
        XPlaneTelemetry record;
        for (const QByteArray &input : inputs) {
            if (XPlane::decodeReply(input, state)) {
                XPlane::fillRecord(state, record);
                state.flightModule();
            }
        }
        // A whole reply afterwards sets every value and the name again.
        QByteArray reply("RREF,", 5);
        auto append = [&reply](qint32 index, float value) {
            char bytes[4];
            qToLittleEndian(index, bytes);
            reply.append(bytes, 4);
            appendFloat(reply, value);
        };
        const float values[XPlane::ValueCount] = {200, 3, -1, -2, 10, 1.5f, 0.5f, 0, 0.25f, 2, 0};
        for (int i = 0; i < XPlane::ValueCount; ++i)
            append(i, values[i]);
        const QByteArray name("ASK 21");
        for (int i = 0; i < XPlane::NameLength; ++i)
            append(XPlane::NameFirstIndex + i, i < name.size() ? float(name[i]) : 0.0f);
        QVERIFY(XPlane::decodeReply(reply, state));
        XPlane::fillRecord(state, record);
        QVERIFY(state.valuesComplete());
        QCOMPARE(state.flightModule(), QStringLiteral("ASK 21"));
        QCOMPARE(record.airspeed, 370.4f);
        QCOMPARE(record.aoa, 3.0f);
        QCOMPARE(record.sideslip, -1.0f);
        QCOMPARE(record.verticalSpeed, -2.0f);
        QCOMPARE(record.rollRate, 10.0f);
        QCOMPARE(record.gForce, 1.5f);
        QCOMPARE(record.propAirflow, 50.0f);
        QCOMPARE(record.gear, 0.0f);
        QCOMPARE(record.flaps, 25.0f);
        QCOMPARE(record.airbrake, 100.0f);
        QCOMPARE(record.onGround, false);
    }

    void profileDocuments() {
        const QList<QByteArray> inputs = inputsOf(QStringLiteral("fuzz_profile_reader"));
        QVERIFY2(!inputs.isEmpty(), "no profile corpus");
        EffectsProfile current;
        for (const QByteArray &input : inputs) {
            ProfileReader::readProfileDocument(current, input);
            ProfileStore::fileNameFor(current.metadata);
            ProfileStore::displayTextFor(current.metadata);
            for (const AxisEffectsSettings &axis : current.settings.axes)
                axis.airflowSpring.attenuation(0.5f);
            // What was read must survive a write and a second read unchanged, whatever the input held.
            EffectsProfile copy;
            ProfileReader::readProfileDocument(copy, ProfileWriter::profileDocument(current));
            const QByteArray settled = ProfileWriter::profileDocument(copy);
            EffectsProfile again;
            ProfileReader::readProfileDocument(again, settled);
            QCOMPARE(ProfileWriter::profileDocument(again), settled);
        }
        const QByteArray valid = ProfileWriter::profileDocument(knownProfile());
        ProfileReader::readProfileDocument(current, valid);
        QCOMPARE(current.metadata.source, Telemetry::TELEMETRY_SOURCE_DCS);
        QCOMPARE(current.metadata.flightModule, QStringLiteral("F-16C_50"));
        QCOMPARE(current.metadata.comment, QStringLiteral("replay"));
        QCOMPARE(current.settings.axes[1].elevatorWeight.active, true);
        QCOMPARE(current.settings.axes[1].elevatorWeight.total_effect_strength, 35.0f);
        QCOMPARE(current.settings.axes[1].simpleSpring.total_effect_strength, 12.5f);
        QCOMPARE(current.settings.axes[0].elevatorWeight.active, false);
        QCOMPARE(current.settings.axes[2].smartDamper.active, false);
        QCOMPARE(current.settings.axes[0].directX.active, false);
        QCOMPARE(ProfileStore::fileNameFor(current.metadata), QStringLiteral("DCS_F_16C_50_replay.json"));
    }
};

QTEST_GUILESS_MAIN(TestFuzzCorpus)
#include "tst_fuzzcorpus.moc"
