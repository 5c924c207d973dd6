#include "telemetrysourcexplane.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QtEndian>
#include <QtTest>

#include <cfloat>
#include <cmath>
#include <cstring>
#include <limits>

namespace {
QByteArray pair(qint32 index, float value) {
    char bytes[8];
    qToLittleEndian(index, bytes);
    quint32 bits;
    std::memcpy(&bits, &value, sizeof bits);
    qToLittleEndian(bits, bytes + 4);
    return QByteArray(bytes, 8);
}

QByteArray reply(std::initializer_list<std::pair<qint32, float>> pairs) {
    QByteArray datagram("RREF,", 5);
    for (const auto &p : pairs)
        datagram += pair(p.first, p.second);
    return datagram;
}

// One name's 64 bytes: those of `name`, then zeros.
QByteArray namePairs(int firstIndex, const QByteArray &name) {
    QByteArray pairs;
    for (int i = 0; i < XPlane::NameLength; ++i)
        pairs += pair(firstIndex + i, i < name.size() ? float(quint8(name[i])) : 0.0f);
    return pairs;
}

// Every value and both names, so that the state is complete.
QByteArray fullReply(const QByteArray &name, const QByteArray &description = QByteArray()) {
    QByteArray datagram("RREF,", 5);
    for (int i = 0; i < XPlane::ValueCount; ++i)
        datagram += pair(i, float(i + 1));
    datagram += namePairs(XPlane::UiNameFirstIndex, name);
    datagram += namePairs(XPlane::DescripFirstIndex, description);
    return datagram;
}

QString uiName(const XPlane::ReplyState &state) {
    return state.name(XPlane::UiNameFirstIndex);
}

bool writeFile(const QString &path, const QByteArray &contents) {
    QDir().mkpath(QFileInfo(path).absolutePath());
    QFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(contents) == contents.size();
}
} // namespace

class TestXPlaneReply : public QObject {
    Q_OBJECT

private slots:
    // --- subscriptions ---

    void datarefsInIndexOrder() {
        const QList<QByteArray> expected = {
            "sim/flightmodel/position/indicated_airspeed",
            "sim/flightmodel/position/alpha",
            "sim/flightmodel/position/beta",
            "sim/flightmodel/position/vh_ind",
            "sim/flightmodel/position/P",
            "sim/flightmodel/forces/g_nrml",
            "sim/cockpit2/engine/actuators/throttle_ratio_all",
            "sim/flightmodel2/gear/deploy_ratio[0]",
            "sim/flightmodel2/controls/flap_handle_deploy_ratio",
            "sim/flightmodel2/controls/speedbrake_ratio",
            "sim/flightmodel/failures/onground_any",
        };
        QCOMPARE(int(XPlane::ValueCount), 11);
        QCOMPARE(XPlane::SubscriptionCount, 142);
        for (int i = 0; i < expected.size(); ++i)
            QCOMPARE(XPlane::dataref(i), expected[i]);
        QCOMPARE(XPlane::dataref(11), QByteArray("sim/aircraft/view/acf_ui_name[0]"));
        QCOMPARE(XPlane::dataref(74), QByteArray("sim/aircraft/view/acf_ui_name[63]"));
        QCOMPARE(XPlane::UiNameFirstIndex, 11);
        QCOMPARE(XPlane::DescripFirstIndex, 75);
        QCOMPARE(XPlane::dataref(75), QByteArray("sim/aircraft/view/acf_descrip[0]"));
        QCOMPARE(XPlane::dataref(100), QByteArray("sim/aircraft/view/acf_descrip[25]"));
        QCOMPARE(XPlane::dataref(138), QByteArray("sim/aircraft/view/acf_descrip[63]"));
        QCOMPARE(XPlane::dataref(139), QByteArray("sim/aircraft2/metadata/is_helicopter"));
        QCOMPARE(XPlane::dataref(142), QByteArray());
        QCOMPARE(XPlane::dataref(-1), QByteArray());
    }

    void subscriptionLayout() {
        const QByteArray request = XPlane::subscriptionRequest(5);
        QCOMPARE(request.size(), 413);
        // "RREF\0", frequency 50, index 5, little-endian.
        QCOMPARE(request.left(13).toHex(), QByteArray("5252454600"
                                                      "32000000"
                                                      "05000000"));
        const QByteArray path("sim/flightmodel/forces/g_nrml");
        QCOMPARE(request.mid(13, path.size()), path);
        QCOMPARE(request.mid(13 + path.size()), QByteArray(400 - path.size(), '\0'));

        const QByteArray name = XPlane::subscriptionRequest(74, 20);
        QCOMPARE(name.size(), 413);
        QCOMPARE(name.mid(5, 8).toHex(), QByteArray("14000000"
                                                    "4a000000"));
        QVERIFY(name.mid(13).startsWith("sim/aircraft/view/acf_ui_name[63]\0"));
    }

    // --- replies ---

    void pairsAreAppliedInOrder() {
        XPlane::ReplyState state;
        QVERIFY(XPlane::decodeReply(
            reply({{XPlane::NormalLoad, 1.5f}, {XPlane::Alpha, 4}, {XPlane::NormalLoad, 2.5f}}), state));
        // The later reading of the same index wins.
        QCOMPARE(state.values[XPlane::NormalLoad], 2.5f);
        QCOMPARE(state.values[XPlane::Alpha], 4.0f);
        QVERIFY(state.received[XPlane::NormalLoad]);
        QVERIFY(state.received[XPlane::Alpha]);
        QVERIFY(!state.received[XPlane::Beta]);
        QVERIFY(!state.valuesComplete());
        // A value keeps its last reading until another comes.
        QVERIFY(XPlane::decodeReply(reply({{XPlane::Beta, -3}}), state));
        QCOMPARE(state.values[XPlane::NormalLoad], 2.5f);
        QCOMPARE(state.values[XPlane::Beta], -3.0f);
    }

    void anyFifthByteAndNoPairsIsStillAReply() {
        XPlane::ReplyState state;
        QVERIFY(XPlane::decodeReply(QByteArray("RREF\0", 5), state));
        QVERIFY(XPlane::decodeReply(QByteArray("RREFx", 5), state));
        QVERIFY(!state.received[0]);
    }

    void whatIsNoReplyChangesNothing_data() {
        QTest::addColumn<QByteArray>("datagram");
        QTest::newRow("empty") << QByteArray();
        QTest::newRow("four bytes") << QByteArray("RREF");
        QTest::newRow("lower case") << (QByteArray("rref,") + pair(0, 1));
        QTest::newRow("another message") << (QByteArray("DATA*") + pair(0, 1));
        QTest::newRow("leading byte") << (QByteArray(" RREF,") + pair(0, 1));
    }

    void whatIsNoReplyChangesNothing() {
        QFETCH(QByteArray, datagram);
        XPlane::ReplyState state;
        state.values[0] = 7;
        QVERIFY(!XPlane::decodeReply(datagram, state));
        QCOMPARE(state.values[0], 7.0f);
        QVERIFY(!state.received[0]);
    }

    void trailingPartialPairIsDropped() {
        XPlane::ReplyState state;
        const QByteArray datagram = reply({{XPlane::Gear, 0.5f}}) + pair(XPlane::Flaps, 1).left(7);
        QVERIFY(XPlane::decodeReply(datagram, state));
        QCOMPARE(state.values[XPlane::Gear], 0.5f);
        QVERIFY(!state.received[XPlane::Flaps]);
        QCOMPARE(state.values[XPlane::Flaps], 0.0f);
    }

    void unknownIndexesAreSkipped() {
        XPlane::ReplyState state;
        QVERIFY(XPlane::decodeReply(reply({{-1, 5},
                                           {XPlane::SubscriptionCount, 5},
                                           {1000000, 5},
                                           {std::numeric_limits<qint32>::min(), 5},
                                           {XPlane::RollRate, 12}}),
                                    state));
        QCOMPARE(state.values[XPlane::RollRate], 12.0f);
        int received = 0;
        for (bool r : state.received)
            received += r;
        QCOMPARE(received, 1);
    }

    void nonFiniteValuesKeepTheLastReading() {
        XPlane::ReplyState state;
        QVERIFY(XPlane::decodeReply(reply({{XPlane::NormalLoad, 1.25f}}), state));
        QVERIFY(
            XPlane::decodeReply(reply({{XPlane::NormalLoad, std::numeric_limits<float>::quiet_NaN()},
                                       {XPlane::Alpha, std::numeric_limits<float>::infinity()},
                                       {XPlane::Beta, -std::numeric_limits<float>::infinity()},
                                       {XPlane::NameFirstIndex, std::numeric_limits<float>::quiet_NaN()}}),
                                state));
        QCOMPARE(state.values[XPlane::NormalLoad], 1.25f);
        QVERIFY(!state.received[XPlane::Alpha]);
        QVERIFY(!state.received[XPlane::Beta]);
        QVERIFY(!state.received[XPlane::NameFirstIndex]);
    }

    void nameEndsAtTheFirstZero() {
        XPlane::ReplyState state;
        QVERIFY(XPlane::decodeReply(fullReply("Cessna 172 SP"), state));
        QVERIFY(state.valuesComplete());
        QVERIFY(state.nameComplete(XPlane::UiNameFirstIndex));
        QVERIFY(state.nameComplete(XPlane::DescripFirstIndex));
        QCOMPARE(state.flightModule(), QStringLiteral("Cessna 172 SP"));
        // Bytes after the first zero do not count.
        QVERIFY(XPlane::decodeReply(
            reply({{XPlane::NameFirstIndex + 3, 0}, {XPlane::NameFirstIndex + 5, 'X'}}), state));
        QCOMPARE(state.flightModule(), QStringLiteral("Ces"));
    }

    void nameWithoutAZeroIsAll64Bytes() {
        XPlane::ReplyState state;
        const QByteArray name(64, 'A');
        QVERIFY(XPlane::decodeReply(fullReply(name), state));
        QCOMPARE(state.flightModule(), QString(64, QLatin1Char('A')));
    }

    void nameBytesAboveAsciiAndOutOfRange() {
        XPlane::ReplyState state;
        // "é" in UTF-8 is C3 A9; X-Plane may send the bytes as unsigned or as signed chars.
        QVERIFY(XPlane::decodeReply(reply({{XPlane::NameFirstIndex + 0, 'K'},
                                           {XPlane::NameFirstIndex + 1, float(0xC3)},
                                           {XPlane::NameFirstIndex + 2, -87.0f}, // 0xA9 as a signed char
                                           {XPlane::NameFirstIndex + 3, 0}}),
                                    state));
        QCOMPARE(uiName(state), QString::fromUtf8("K\xC3\xA9"));
        // What is no byte leaves the name's byte alone.
        QVERIFY(XPlane::decodeReply(reply({{XPlane::NameFirstIndex + 0, 256},
                                           {XPlane::NameFirstIndex + 1, -129},
                                           {XPlane::NameFirstIndex + 2, 1e30f}}),
                                    state));
        QCOMPARE(uiName(state), QString::fromUtf8("K\xC3\xA9"));
        // Invalid UTF-8 still gives a name, with replacement characters.
        QVERIFY(XPlane::decodeReply(reply({{XPlane::NameFirstIndex + 1, float(0xFF)}}), state));
        QCOMPARE(uiName(state), QString::fromUtf8("K\xEF\xBF\xBD\xEF\xBF\xBD"));
    }

    void aNameCutAt64BytesEndsAtTheLastWholeCharacter() {
        // 62 ASCII bytes, then the first two of the three bytes of "€" (E2 82 AC): the cut one is left out.
        XPlane::ReplyState state;
        QVERIFY(XPlane::decodeReply(fullReply(QByteArray(62, 'a') + "\xE2\x82\xAC"), state));
        QCOMPARE(state.flightModule(), QString(62, QLatin1Char('a')));
        // 63 bytes and the lead byte of "é" (C3 A9).
        QVERIFY(XPlane::decodeReply(fullReply(QByteArray(63, 'b') + "\xC3\xA9"), state));
        QCOMPARE(state.flightModule(), QString(63, QLatin1Char('b')));
        // 60 bytes and a whole four-byte character end exactly at the limit: all of it stays.
        QVERIFY(XPlane::decodeReply(fullReply(QByteArray(60, 'c') + "\xF0\x9F\x9B\xA9"), state));
        QCOMPARE(state.flightModule(), QString(60, QLatin1Char('c')) + QString::fromUtf8("\xF0\x9F\x9B\xA9"));
        // 61 bytes and three of the four bytes of that character.
        QVERIFY(XPlane::decodeReply(fullReply(QByteArray(61, 'd') + "\xF0\x9F\x9B\xA9"), state));
        QCOMPARE(state.flightModule(), QString(61, QLatin1Char('d')));
        QVERIFY(!state.flightModule().contains(QChar(0xFFFD)));
        // The description is cut the same way.
        QVERIFY(XPlane::decodeReply(fullReply(QByteArray(), QByteArray(63, 'e') + "\xC3\xA9"), state));
        QCOMPARE(state.flightModule(), QString(63, QLatin1Char('e')));
    }

    void theUiNameWinsAndTheDescriptionStandsIn() {
        XPlane::ReplyState state;
        QVERIFY(XPlane::decodeReply(fullReply("Cessna 172 SP", "Cessna 172SP Skyhawk"), state));
        QCOMPARE(state.flightModule(), QStringLiteral("Cessna 172 SP"));
        // X-Plane 11 answers acf_ui_name with zeros: the description is the name.
        QVERIFY(XPlane::decodeReply(fullReply(QByteArray(), "Cessna 172SP Skyhawk"), state));
        QCOMPARE(state.flightModule(), QStringLiteral("Cessna 172SP Skyhawk"));
        // ... or not at all: a ui name that never arrived whole does not count, whatever bytes came.
        XPlane::ReplyState eleven;
        QByteArray datagram =
            QByteArray("RREF,", 5) + namePairs(XPlane::DescripFirstIndex, "Schleicher ASK 21");
        datagram += pair(XPlane::UiNameFirstIndex, 'X');
        QVERIFY(XPlane::decodeReply(datagram, eleven));
        QVERIFY(!eleven.nameComplete(XPlane::UiNameFirstIndex));
        QVERIFY(eleven.nameComplete(XPlane::DescripFirstIndex));
        QCOMPARE(eleven.flightModule(), QStringLiteral("Schleicher ASK 21"));
        // Both empty: no name.
        QVERIFY(XPlane::decodeReply(fullReply(QByteArray(), QByteArray()), state));
        QCOMPARE(state.flightModule(), QString());
    }

    void clearForgetsEverything() {
        XPlane::ReplyState state;
        QVERIFY(XPlane::decodeReply(fullReply("ASK 21"), state));
        state.clear();
        QVERIFY(!state.valuesComplete());
        QVERIFY(!state.nameComplete(XPlane::UiNameFirstIndex));
        QCOMPARE(state.flightModule(), QString());
        QCOMPARE(state.values[XPlane::Alpha], 0.0f);
    }

    // --- the record ---

    void unitsAreConverted() {
        XPlane::ReplyState state;
        state.values[XPlane::IndicatedAirspeed] = 100; // knots
        state.values[XPlane::Alpha] = 4.5f;
        state.values[XPlane::Beta] = -1.25f;
        state.values[XPlane::VerticalSpeed] = -2.5f;
        state.values[XPlane::RollRate] = 30;
        state.values[XPlane::NormalLoad] = 1.75f;
        state.values[XPlane::Throttle] = 0.75f;
        state.values[XPlane::Gear] = 0.5f;
        state.values[XPlane::Flaps] = 0.25f;
        state.values[XPlane::Speedbrake] = 0.5f;
        state.values[XPlane::OnGround] = 1;
        XPlaneTelemetry record;
        XPlane::fillRecord(state, record);
        QCOMPARE(record.airspeed, 185.2f);
        QCOMPARE(record.getAirspeed(), 185.2f);
        QCOMPARE(record.aoa, 4.5f);
        QCOMPARE(record.sideslip, -1.25f);
        QCOMPARE(record.verticalSpeed, -2.5f);
        QCOMPARE(record.rollRate, 30.0f);
        QCOMPARE(record.gForce, 1.75f);
        QCOMPARE(record.propAirflow, 75.0f);
        QCOMPARE(record.gear, 50.0f);
        QCOMPARE(record.flaps, 25.0f);
        QCOMPARE(record.airbrake, 50.0f);
        QCOMPARE(record.onGround, true);
        // Nothing in X-Plane's list fills these.
        QCOMPARE(record.aileronsFlowAngle, 0.0f);
        QCOMPARE(record.trimmerRoll, 0.0f);
        QCOMPARE(record.trimmerPitch, 0.0f);
        QCOMPARE(record.trimmerYaw, 0.0f);
    }

    void speedbrakeIsClampedAndOnGroundHasAThreshold_data() {
        QTest::addColumn<float>("speedbrake");
        QTest::addColumn<float>("airbrake");
        QTest::addColumn<float>("onGround");
        QTest::addColumn<bool>("expectedOnGround");
        QTest::newRow("armed") << -0.5f << 0.0f << 0.0f << false;
        QTest::newRow("full") << 1.0f << 100.0f << 0.49f << false;
        QTest::newRow("above full") << 1.5f << 100.0f << 0.5f << true;
        QTest::newRow("half") << 0.5f << 50.0f << 2.0f << true;
    }

    void speedbrakeIsClampedAndOnGroundHasAThreshold() {
        QFETCH(float, speedbrake);
        QFETCH(float, airbrake);
        QFETCH(float, onGround);
        QFETCH(bool, expectedOnGround);
        XPlane::ReplyState state;
        state.values[XPlane::Speedbrake] = speedbrake;
        state.values[XPlane::OnGround] = onGround;
        XPlaneTelemetry record;
        XPlane::fillRecord(state, record);
        QCOMPARE(record.airbrake, airbrake);
        QCOMPARE(record.onGround, expectedOnGround);
    }

    void hugeReadingsStayFinite() {
        XPlane::ReplyState state;
        state.values[XPlane::IndicatedAirspeed] = FLT_MAX;
        state.values[XPlane::Throttle] = -FLT_MAX;
        state.values[XPlane::Gear] = 1e38f;
        state.values[XPlane::Flaps] = -1e38f;
        XPlaneTelemetry record;
        XPlane::fillRecord(state, record);
        QCOMPARE(record.airspeed, FLT_MAX);
        QCOMPARE(record.getAirspeed(), 1000.0f);
        QCOMPARE(record.propAirflow, -FLT_MAX);
        QCOMPARE(record.gear, FLT_MAX);
        QCOMPARE(record.flaps, -FLT_MAX);
    }

    // --- where X-Plane is ---

    void defaultsWithoutASettingsFile() {
        QTemporaryDir scratch;
        const QString path = scratch.filePath(QStringLiteral("vortane-quillar/quillar.conf"));
        const XPlane::Endpoint endpoint = XPlane::endpointFromSettings(path);
        QCOMPARE(endpoint.host, QHostAddress(QStringLiteral("127.0.0.1")));
        QCOMPARE(endpoint.port, quint16(49000));
        // Reading creates nothing.
        QVERIFY(!QFileInfo::exists(scratch.filePath(QStringLiteral("vortane-quillar"))));
    }

    // The settings file sits where XDG_CONFIG_HOME says only on Linux; elsewhere Qt has its own folders.
#ifdef Q_OS_LINUX
    void theSettingsFileLivesInTheConfigFolder() {
        QTemporaryDir scratch;
        const QByteArray saved = qgetenv("XDG_CONFIG_HOME");
        qputenv("XDG_CONFIG_HOME", scratch.path().toLocal8Bit());
        const QString path = XPlane::settingsFilePath();
        QVERIFY(writeFile(path, "[xplane]\nhost=192.168.1.20\nport=49010\n"));
        const XPlane::Endpoint endpoint = XPlane::configuredEndpoint();
        if (saved.isNull())
            qunsetenv("XDG_CONFIG_HOME");
        else
            qputenv("XDG_CONFIG_HOME", saved);
        QCOMPARE(path, scratch.path() + QStringLiteral("/vortane-quillar/quillar.conf"));
        QCOMPARE(endpoint.host, QHostAddress(QStringLiteral("192.168.1.20")));
        QCOMPARE(endpoint.port, quint16(49010));
    }
#endif

    void hostAndPortFromTheSettingsFile_data() {
        QTest::addColumn<QByteArray>("contents");
        QTest::addColumn<QString>("host");
        QTest::addColumn<int>("port");
        QTest::addColumn<QString>("warning");
        QTest::newRow("both") << QByteArray("[xplane]\nhost=10.0.0.7\nport=49001\n") << "10.0.0.7" << 49001
                              << "";
        QTest::newRow("host only") << QByteArray("[xplane]\nhost = 10.0.0.8\n") << "10.0.0.8" << 49000 << "";
        QTest::newRow("port only") << QByteArray("[xplane]\nport=50000\n") << "127.0.0.1" << 50000 << "";
        QTest::newRow("localhost") << QByteArray("[xplane]\nhost=localhost\n") << "127.0.0.1" << 49000 << "";
        QTest::newRow("IPv6") << QByteArray("[xplane]\nhost=::1\n") << "::1" << 49000 << "";
        QTest::newRow("other group") << QByteArray("[dcs]\nhost=10.0.0.9\nport=1\n") << "127.0.0.1" << 49000
                                     << "";
        QTest::newRow("empty file") << QByteArray() << "127.0.0.1" << 49000 << "";
        QTest::newRow("not an INI file")
            << QByteArray("\x00\xff\xfe garbage = = [[", 17) << "127.0.0.1" << 49000 << "";
        QTest::newRow("host name")
            << QByteArray("[xplane]\nhost=simpc.example\nport=49002\n") << "127.0.0.1" << 49002
            << "host \"simpc.example\" is not the IP address of a machine; asking X-Plane "
               "at 127.0.0.1 instead";
        QTest::newRow("empty host")
            << QByteArray("[xplane]\nhost=\n") << "127.0.0.1" << 49000
            << "host \"\" is not the IP address of a machine; asking X-Plane at 127.0.0.1 "
               "instead";
        QTest::newRow("any address")
            << QByteArray("[xplane]\nhost=0.0.0.0\n") << "127.0.0.1" << 49000
            << "host \"0.0.0.0\" is not the IP address of a machine; asking X-Plane at "
               "127.0.0.1 instead";
        QTest::newRow("port zero")
            << QByteArray("[xplane]\nhost=10.0.0.7\nport=0\n") << "10.0.0.7" << 49000
            << "port \"0\" is not a port number (1 to 65535); asking X-Plane on port 49000 "
               "instead";
        QTest::newRow("port too big")
            << QByteArray("[xplane]\nport=65536\n") << "127.0.0.1" << 49000
            << "port \"65536\" is not a port number (1 to 65535); asking X-Plane on port "
               "49000 instead";
        QTest::newRow("port text")
            << QByteArray("[xplane]\nport=fourty-nine thousand\n") << "127.0.0.1" << 49000
            << "port \"fourty-nine thousand\" is not a port number (1 to 65535); asking "
               "X-Plane on port 49000 instead";
        QTest::newRow("port list")
            << QByteArray("[xplane]\nport=1, 2\n") << "127.0.0.1" << 49000
            << "port \"1,2\" is not a port number (1 to 65535); asking X-Plane on port 49000 "
               "instead";
    }

    void hostAndPortFromTheSettingsFile() {
        QFETCH(QByteArray, contents);
        QFETCH(QString, host);
        QFETCH(int, port);
        QFETCH(QString, warning);
        QTemporaryDir scratch;
        const QString path = scratch.filePath(QStringLiteral("quillar.conf"));
        QVERIFY(writeFile(path, contents));
        if (!warning.isEmpty())
            QTest::ignoreMessage(QtWarningMsg, qPrintable(path + QStringLiteral(": [xplane] ") + warning));
        QTest::failOnWarning(QRegularExpression(QStringLiteral(".*")));
        const XPlane::Endpoint endpoint = XPlane::endpointFromSettings(path);
        QCOMPARE(endpoint.host, QHostAddress(host));
        QCOMPARE(endpoint.port, quint16(port));
        // Nothing is written back.
        QFile file(path);
        QVERIFY(file.open(QIODevice::ReadOnly));
        QCOMPARE(file.readAll(), contents);
    }
};

QTEST_GUILESS_MAIN(TestXPlaneReply)
#include "tst_xplanereply.moc"
