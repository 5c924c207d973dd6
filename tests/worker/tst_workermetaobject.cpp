#include "mainbackgroundthread.h"

#include <QMetaMethod>
#include <QtTest>

// Other code (and saved connections) rely on the worker's meta-method numbering: signals 0-7, slots 8-32.
class TestWorkerMetaObject : public QObject {
    Q_OBJECT

private slots:
    void methodsInOrder_data() {
        QTest::addColumn<int>("index");
        QTest::addColumn<QByteArray>("signature");
        QTest::addColumn<int>("type");
        QTest::addColumn<QByteArray>("returnType");

        const int signal = int(QMetaMethod::Signal);
        const int slot = int(QMetaMethod::Slot);
        const struct {
            const char *signature;
            int type;
            const char *returnType;
        } expected[] = {
            {"telemetryChanged(Telemetry)", signal, "void"},
            {"telemetrySourceChanged(Telemetry::Source,QString)", signal, "void"},
            {"telemetryEnded()", signal, "void"},
            {"joystickConnected(uint32_t)", signal, "void"},
            {"joystickDisconnected()", signal, "void"},
            {"rudderConnected(uint32_t)", signal, "void"},
            {"rudderDisconnected()", signal, "void"},
            {"positionChanged(PositionInput)", signal, "void"},
            {"changeSettingsSuddenly(EffectsSettings)", slot, "void"},
            {"changeSettingsModerately(EffectsSettings)", slot, "void"},
            {"enableTelemetryOverride()", slot, "void"},
            {"disableTelemetryOverride()", slot, "void"},
            {"overrideTelemetry(Telemetry)", slot, "void"},
            {"setMsfsTelemetry(MSFSTelemetry)", slot, "void"},
            {"setDcsTelemetry(DCSTelemetry)", slot, "void"},
            {"setShturmovikTelemetry(ShturmovikTelemetry)", slot, "void"},
            {"setWarthunderTelemetry(WarthunderTelemetry)", slot, "void"},
            {"setCondor2Telemetry(Condor2Telemetry)", slot, "void"},
            {"setLanded(float,float)", slot, "void"},
            {"calculateForces(PositionInput)", slot, "Forces"},
            {"onTimout()", slot, "void"},
            {"readJoystickVersion()", slot, "uint32_t"},
            {"disconnectJoystick()", slot, "void"},
            {"readJoystickPosition(PositionInput*,PositionInput*)", slot, "void"},
            {"writeJoystickDirectControl(Forces)", slot, "void"},
            {"writeJoystickDirectXOverride(DirectXOverrideTypeDef)", slot, "void"},
            {"readRudderVersion()", slot, "uint32_t"},
            {"disconnectRudder()", slot, "void"},
            {"readRudderPosition(PositionInput*,PositionInput*)", slot, "void"},
            {"writeRudderDirectControl(Forces)", slot, "void"},
            {"writeRudderDirectXOverride(DirectXOverrideTypeDef)", slot, "void"},
            {"writeDirectXOverride()", slot, "void"},
            {"setXPlaneTelemetry(XPlaneTelemetry)", slot, "void"},
        };
        int index = 0;
        for (const auto &e : expected) {
            QTest::addRow("%d %s", index, e.signature)
                << index << QByteArray(e.signature) << e.type << QByteArray(e.returnType);
            ++index;
        }
    }

    void methodsInOrder() {
        QFETCH(int, index);
        QFETCH(QByteArray, signature);
        QFETCH(int, type);
        QFETCH(QByteArray, returnType);
        const QMetaObject &mo = MainBackgroundThread::staticMetaObject;
        const QMetaMethod method = mo.method(mo.methodOffset() + index);
        QCOMPARE(method.methodSignature(), signature);
        QCOMPARE(int(method.methodType()), type);
        QCOMPARE(QByteArray(method.typeName()), returnType);
        QCOMPARE(method.access(), QMetaMethod::Public);
    }

    void exactlyThirtyThreeMethods() {
        const QMetaObject &mo = MainBackgroundThread::staticMetaObject;
        QCOMPARE(mo.methodCount() - mo.methodOffset(), 33);
        QCOMPARE(mo.superClass(), &QObject::staticMetaObject);
    }

    void startCycleIsNoMetaMethod() {
        QCOMPARE(MainBackgroundThread::staticMetaObject.indexOfMethod("startCycle()"), -1);
    }
};

QTEST_GUILESS_MAIN(TestWorkerMetaObject)
#include "tst_workermetaobject.moc"
