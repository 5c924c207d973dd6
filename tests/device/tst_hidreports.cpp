#include "hidreports.h"

#include <QByteArray>
#include <QtTest>
#include <cmath>
#include <cstring>

namespace {
QByteArray bytes(const HidReports::Buffer &buffer) {
    return QByteArray(reinterpret_cast<const char *>(buffer.data()), int(buffer.size()));
}

// Hex of a whole 65-byte report: the given leading bytes, then zeros.
QByteArray report(const char *leadingHex) {
    QByteArray b = QByteArray::fromHex(leadingHex);
    b.append(QByteArray(65 - b.size(), '\0'));
    return b;
}

HidReports::Buffer buffer(const QByteArray &content) {
    HidReports::Buffer b{};
    std::memcpy(b.data(), content.constData(), std::min<size_t>(b.size(), size_t(content.size())));
    return b;
}
} // namespace

class TestHidReports : public QObject {
    Q_OBJECT

private slots:
    void floatsAreLittleEndian() {
        HidReports::Buffer b{};
        HidReports::putFloat(b, 1, 12.5f);
        HidReports::putFloat(b, 61, -1.0f);
        QCOMPARE(bytes(b).mid(0, 6).toHex(), QByteArray("000000484100"));
        QCOMPARE(bytes(b).mid(61).toHex(), QByteArray("000080bf"));
        QCOMPARE(HidReports::getFloat(b, 1), 12.5f);
        QCOMPARE(HidReports::getFloat(b, 61), -1.0f);
    }

    void floatBitsSurviveUnchanged() {
        HidReports::Buffer b{};
        HidReports::putFloat(b, 3, std::nanf(""));
        HidReports::putFloat(b, 7, -0.0f);
        QVERIFY(std::isnan(HidReports::getFloat(b, 3)));
        QCOMPARE(bytes(b).mid(7, 4).toHex(), QByteArray("00000080"));
        QVERIFY(std::signbit(HidReports::getFloat(b, 7)));
    }

    void versionRequestIsZeroedWithItsId() {
        QCOMPARE(bytes(HidReports::versionRequest()), report("25"));
    }

    void failedVersionReadYieldsTheReportIdAlone() {
        QCOMPARE(HidReports::versionWord(HidReports::versionRequest()), uint32_t(0x00000025));
    }

    void versionWordIncludesTheReportId() {
        HidReports::Buffer b = HidReports::versionRequest();
        b[1] = 0x01;
        b[2] = 0x02;
        b[3] = 0x03;
        b[4] = 0xff; // beyond the word: ignored
        QCOMPARE(HidReports::versionWord(b), uint32_t(0x03020125));
        QCOMPARE(HidReports::versionWord(b) & 0xff, uint32_t(0x25));
    }

    void positionRequestIsZeroedWithItsId() {
        QCOMPARE(bytes(HidReports::positionRequest()), report("24"));
    }

    void positionReportSlots() {
        // 12.5, -1, 2.5, 4 in slots position A, position B, offset A, offset B
        const HidReports::PositionReading r =
            HidReports::parsePosition(buffer(QByteArray::fromHex("24" "00004841" "000080bf" "00002040" "00008040")));
        QCOMPARE(r.positionA, 12.5f);
        QCOMPARE(r.positionB, -1.0f);
        QCOMPARE(r.offsetA, 2.5f);
        QCOMPARE(r.offsetB, 4.0f);
    }

    void shortPositionReportReadsZeros() {
        const HidReports::PositionReading r =
            HidReports::parsePosition(buffer(QByteArray::fromHex("24" "00004841")));
        QCOMPARE(r.positionA, 12.5f);
        QCOMPARE(r.positionB, 0.0f);
        QCOMPARE(r.offsetA, 0.0f);
        QCOMPARE(r.offsetB, 0.0f);
    }

    void directControlReportLayout() {
        HidReports::DirectControlSlot a{1.0f, 2.0f, 3.0f, 4.0f, 5.0f, 6.0f};
        HidReports::DirectControlSlot b{-1.0f, 0.5f, 0.25f, 0.75f, 10.0f, 100.0f};
        const QByteArray expected = report("0220"
                                           "0000803f" "000080bf"  // spring gain A, B
                                           "00000040" "0000003f"  // force
                                           "00004040" "0000803e"  // periodic
                                           "00008040" "0000403f"  // static damping
                                           "0000a040" "00002041"  // dynamic damping
                                           "0000c040" "0000c842"); // axis offsets
        QCOMPARE(bytes(HidReports::directControlReport(a, b)).toHex(), expected.toHex());
    }

    void rudderReportCarriesSlotAOnly() {
        HidReports::DirectControlSlot yaw{1.0f, 2.0f, 3.0f, 4.0f, 5.0f, 6.0f};
        const QByteArray r = bytes(HidReports::directControlReport(yaw, {}));
        QCOMPARE(r.size(), 65);
        QCOMPARE(r.mid(2, 4).toHex(), QByteArray("0000803f"));
        QCOMPARE(r.mid(10, 4).toHex(), QByteArray("00000040"));
        QCOMPARE(r.mid(18, 4).toHex(), QByteArray("00004040"));
        QCOMPARE(r.mid(26, 4).toHex(), QByteArray("00008040"));
        QCOMPARE(r.mid(34, 4).toHex(), QByteArray("0000a040"));
        QCOMPARE(r.mid(42, 4).toHex(), QByteArray("0000c040"));
        for (int slotB : {6, 14, 22, 30, 38, 46})
            QCOMPARE(r.mid(slotB, 4).toHex(), QByteArray("00000000"));
        QCOMPARE(r.mid(50), QByteArray(15, '\0'));
    }

    void directXOverrideLayout() {
        DirectXOverrideTypeDef d;
        d.trimmer[0] = 1.0f;
        d.trimmer[1] = -1.0f;
        d.force[0] = 0.5f;
        d.force[1] = 0.25f;
        d.periodic[0] = 0.75f;
        d.periodic[1] = 2.0f;
        const QByteArray expected =
            report("0221" "0000803f" "000080bf" "0000003f" "0000803e" "0000403f" "00000040");
        QCOMPARE(bytes(HidReports::directXOverrideReport(d)).toHex(), expected.toHex());
    }

    void emptyDirectXOverrideIsIdAndCommandThenZeros() {
        const QByteArray r = bytes(HidReports::directXOverrideReport(DirectXOverrideTypeDef{}));
        QCOMPARE(r, report("0221"));
        QCOMPARE(r.mid(2), QByteArray(63, '\0'));
    }
};

QTEST_GUILESS_MAIN(TestHidReports)
#include "tst_hidreports.moc"
