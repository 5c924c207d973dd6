#include "telemetrysourcexplane.h"

#include <QFile>
#include <QHash>
#include <QtTest>

// Every dataref the X-Plane source subscribes exists in X-Plane 11.50+ and in X-Plane 12.1, as their own
// DataRefs.txt list them (tests/telemetry/data/xplane), and X-Plane 12.1 gives it the type and unit the
// code reads it as. X-Plane 11's copy lists names only.
namespace {
struct Entry {
    QByteArray type;
    QByteArray unit;
};

QHash<QByteArray, Entry> readList(const QString &fileName) {
    QHash<QByteArray, Entry> list;
    QFile file(QStringLiteral(QUILLAR_XPLANE_DATAREFS) + QLatin1Char('/') + fileName);
    if (!file.open(QIODevice::ReadOnly))
        return list;
    for (const QByteArray &line : file.readAll().split('\n')) {
        const QList<QByteArray> columns = line.trimmed().split('\t');
        if (!columns.first().startsWith("sim/"))
            continue;
        list.insert(columns.first(), Entry{columns.value(1), columns.value(3)});
    }
    return list;
}

// The dataref without its element, and the element (-1 for none).
QByteArray baseOf(const QByteArray &dataref, int *element) {
    *element = -1;
    if (!dataref.endsWith(']'))
        return dataref;
    const qsizetype open = dataref.lastIndexOf('[');
    *element = dataref.mid(open + 1, dataref.size() - open - 2).toInt();
    return dataref.left(open);
}

int arraySize(const QByteArray &type) {
    const qsizetype open = type.indexOf('[');
    return open < 0 ? 0 : type.mid(open + 1, type.size() - open - 2).toInt();
}

// What the code assumes of each dataref: its type in X-Plane 12.1 (an array's element type and at least
// how many elements) and its unit.
struct Assumed {
    const char *elementType;
    int minimumElements; // 0: a single value
    const char *unit;
};
const QHash<QByteArray, Assumed> &assumptions() {
    static const QHash<QByteArray, Assumed> assumed = {
        {"sim/flightmodel/position/indicated_airspeed", {"float", 0, "kias"}},
        {"sim/flightmodel/position/alpha", {"float", 0, "degrees"}},
        {"sim/flightmodel/position/beta", {"float", 0, "degrees"}},
        {"sim/flightmodel/position/vh_ind", {"float", 0, "meters/second"}},
        {"sim/flightmodel/position/P", {"float", 0, "deg/sec"}},
        {"sim/flightmodel/forces/g_nrml", {"float", 0, "Gs"}},
        {"sim/cockpit2/engine/actuators/throttle_ratio_all", {"float", 0, "ratio"}},
        {"sim/flightmodel2/gear/deploy_ratio", {"float", 1, "ratio"}},
        {"sim/flightmodel2/controls/flap_handle_deploy_ratio", {"float", 0, "ratio"}},
        {"sim/flightmodel2/controls/speedbrake_ratio", {"float", 0, "ratio"}},
        // Read as 0 or 1; the list gives no unit.
        {"sim/flightmodel/failures/onground_any", {"int", 0, "???"}},
        {"sim/aircraft/view/acf_ui_name", {"byte", XPlane::NameLength, "string"}},
        {"sim/aircraft/view/acf_descrip", {"byte", XPlane::NameLength, "string"}},
        // The aircraft class: 0 or 1; the first engine's type; the maximum weight, which the list gives no
        // unit for (read as kg, like the other weights of sim/aircraft/weight).
        {"sim/aircraft2/metadata/is_helicopter", {"int", 0, "boolean"}},
        {"sim/aircraft/prop/acf_en_type", {"int", 1, "enum"}},
        {"sim/aircraft/weight/acf_m_max", {"float", 0, ""}},
    };
    return assumed;
}
} // namespace

class TestXPlaneDatarefs : public QObject {
    Q_OBJECT

private slots:
    void theListsAreThere() {
        QVERIFY(readList(QStringLiteral("DataRefs-11.50.txt")).size() > 4000);
        QVERIFY(readList(QStringLiteral("DataRefs-12.1.txt")).size() > 5000);
    }

    void everySubscribedDatarefExistsInXPlane11() {
        const QHash<QByteArray, Entry> eleven = readList(QStringLiteral("DataRefs-11.50.txt"));
        QStringList missing;
        for (int index = 0; index < XPlane::SubscriptionCount; ++index) {
            int element = 0;
            const QByteArray base = baseOf(XPlane::dataref(index), &element);
            // acf_ui_name is X-Plane 12's: the source does without it on 11.
            if (base == "sim/aircraft/view/acf_ui_name")
                continue;
            if (!eleven.contains(base))
                missing << QString::fromLatin1(XPlane::dataref(index));
        }
        QCOMPARE(missing, QStringList());
        QVERIFY(!eleven.contains("sim/aircraft/view/acf_ui_name"));
        QVERIFY(eleven.contains("sim/aircraft/view/acf_descrip"));
    }

    void everySubscribedDatarefExistsInXPlane12WithTheAssumedTypeAndUnit() {
        const QHash<QByteArray, Entry> twelve = readList(QStringLiteral("DataRefs-12.1.txt"));
        for (int index = 0; index < XPlane::SubscriptionCount; ++index) {
            const QByteArray dataref = XPlane::dataref(index);
            int element = 0;
            const QByteArray base = baseOf(dataref, &element);
            QVERIFY2(assumptions().contains(base), dataref.constData());
            const Assumed assumed = assumptions().value(base);
            QVERIFY2(twelve.contains(base), dataref.constData());
            const Entry entry = twelve.value(base);
            QVERIFY2(entry.type.startsWith(assumed.elementType), (dataref + ": " + entry.type).constData());
            QCOMPARE(entry.unit, QByteArray(assumed.unit));
            if (assumed.minimumElements == 0) {
                QCOMPARE(entry.type, QByteArray(assumed.elementType));
                QCOMPARE(element, -1);
            } else {
                QVERIFY2(arraySize(entry.type) >= assumed.minimumElements, entry.type.constData());
                QVERIFY(element >= 0 && element < arraySize(entry.type));
            }
        }
    }
};

QTEST_GUILESS_MAIN(TestXPlaneDatarefs)
#include "tst_xplanedatarefs.moc"
