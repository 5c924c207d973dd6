#include "faketree.h"
#include "report.h"
#include "systemchecks.h"

#include <QtTest>

using namespace Diagnostics;

namespace {

Check find(const QList<Check> &checks, const QString &name) {
    for (const Check &check : checks)
        if (check.name == name)
            return check;
    return Check{QStringLiteral("?"), QStringLiteral("not in the report: ") + name, Verdict::Ok, {}, {}};
}

QList<Check> devices(const FakeTree &tree) {
    return deviceChecks(tree, ProcessTable(tree));
}

QList<Check> ports(const FakeTree &tree) {
    return portChecks(tree, ProcessTable(tree));
}

const QString Joystick = QStringLiteral("joystick base 045B:58F9");
const QString Rudder = QStringLiteral("rudder pedals 045B:5968");
const QString Rule = QStringLiteral("udev rule");
const QString Dcs = QStringLiteral("UDP 29778 (DCS)");
const QString Il2 = QStringLiteral("UDP 29777 (IL-2)");
const QString Condor = QStringLiteral("UDP 55278 (Condor 2)");

} // namespace

// The device and port checks over fake /proc, /sys, /dev and /etc trees: every verdict, and what it says.
class TestSystemChecks : public QObject {
    Q_OBJECT

private slots:
    void allFine() {
        FakeTree tree;
        tree.plugBoth();
        tree.installRule();
        tree.udp({});
        Report report;
        report.checks = devices(tree) + ports(tree);
        QCOMPARE(report.checks.size(), 6);
        for (const Check &check : report.checks)
            QVERIFY2(check.verdict == Verdict::Ok,
                     qPrintable(check.name + QStringLiteral(": ") + check.detail));
        QCOMPARE(find(report.checks, Joystick).detail, QStringLiteral("/dev/hidraw3 readable and writable"));
        QCOMPARE(find(report.checks, Rudder).detail, QStringLiteral("/dev/hidraw4 readable and writable"));
        QCOMPARE(find(report.checks, Rule).detail,
                 QStringLiteral("installed: /etc/udev/rules.d/70-vortane-quillar.rules"));
        QCOMPARE(find(report.checks, Dcs).detail, QStringLiteral("free"));
        QCOMPARE(report.exitCode(), 0);
    }

    void oneDeviceMissingIsAWarningBothAProblem() {
        FakeTree tree;
        tree.plug(QStringLiteral("1-2"), QStringLiteral("58f9"), QStringLiteral("hidraw0"));
        tree.installRule();
        QList<Check> checks = devices(tree);
        QCOMPARE(find(checks, Rudder).verdict, Verdict::Warning);
        QCOMPARE(find(checks, Rudder).detail, QStringLiteral("not found on USB"));
        QCOMPARE(find(checks, Joystick).verdict, Verdict::Ok);
        Report report{checks};
        QCOMPARE(report.exitCode(), 0);

        FakeTree empty;
        empty.installRule();
        checks = devices(empty);
        QCOMPARE(find(checks, Joystick).verdict, Verdict::Problem);
        QCOMPARE(find(checks, Rudder).verdict, Verdict::Problem);
        QVERIFY(find(checks, Joystick).advice.startsWith(QStringLiteral("plug it in")));
        QCOMPARE(Report{checks}.exitCode(), 1);
    }

    void nodeWithoutPermissionAsksForTheRuleAndAReplug() {
        FakeTree tree;
        tree.plugBoth();
        tree.installRule();
        tree.noAccess.insert(QStringLiteral("/dev/hidraw3"));
        const QList<Check> checks = devices(tree);
        const Check joystick = find(checks, Joystick);
        QCOMPARE(joystick.verdict, Verdict::Problem);
        QCOMPARE(joystick.detail, QStringLiteral("/dev/hidraw3 is not readable and writable by you"));
        QCOMPARE(joystick.advice,
                 QStringLiteral(
                     "install the udev rule (sudo install -m 644 /usr/share/vortane-quillar/"
                     "70-vortane-quillar.rules /etc/udev/rules.d/ && sudo udevadm control --reload-rules), "
                     "then unplug and re-plug the device"));
        QCOMPARE(find(checks, Rudder).verdict, Verdict::Ok);
        QCOMPARE(Report{checks}.exitCode(), 1);
    }

    void nodeHeldByANamedProcess() {
        FakeTree tree;
        tree.plugBoth();
        tree.installRule();
        tree.process(
            4321, "steam", QStringLiteral("/home/u/.steam/ubuntu12_32/steam"),
            {QStringLiteral("/dev/null"), QStringLiteral("/dev/hidraw4"), QStringLiteral("socket:[77]")});
        const Check rudder = find(devices(tree), Rudder);
        QCOMPARE(rudder.verdict, Verdict::Problem);
        QCOMPARE(rudder.detail, QStringLiteral("/dev/hidraw4 is held open by steam (pid 4321)"));
        QCOMPARE(rudder.advice, QStringLiteral("close steam, or stop it from using the device"));
    }

    void nodeHeldByVortaneQuillarIsFine() {
        FakeTree tree;
        tree.plugBoth();
        tree.installRule();
        tree.process(99, "quillar", QStringLiteral("/usr/bin/quillar"), {QStringLiteral("/dev/hidraw3")});
        const Check joystick = find(devices(tree), Joystick);
        QCOMPARE(joystick.verdict, Verdict::Ok);
        QCOMPARE(joystick.detail, QStringLiteral("/dev/hidraw3 open in Vortane Quillar, quillar (pid 99)"));
    }

    void onUsbWithoutANode() {
        FakeTree tree;
        tree.plugBoth();
        tree.installRule();
        tree.remove(QStringLiteral("/sys/class/hidraw/hidraw3"));
        const Check joystick = find(devices(tree), Joystick);
        QCOMPARE(joystick.verdict, Verdict::Problem);
        QCOMPARE(joystick.detail, QStringLiteral("on USB, but the kernel made no hidraw node for it"));
    }

    void aNodeThatDisappearsMidScan() {
        FakeTree tree;
        tree.plugBoth();
        tree.installRule();
        tree.remove(QStringLiteral("/dev/hidraw4")); // /sys still lists it
        const Check rudder = find(devices(tree), Rudder);
        QCOMPARE(rudder.verdict, Verdict::Warning);
        QCOMPARE(rudder.detail, QStringLiteral("/dev/hidraw4 disappeared while it was checked"));
    }

    void ruleMissing() {
        FakeTree tree;
        tree.plugBoth();
        // A rule for something else does not count.
        tree.write(QStringLiteral("/usr/lib/udev/rules.d/60-other.rules"),
                   "# 045b 58f9 5968 in a comment\nSUBSYSTEM==\"hidraw\", ATTRS{idVendor}==\"046d\"\n");
        const QList<Check> checks = devices(tree);
        const Check rule = find(checks, Rule);
        QCOMPARE(rule.verdict, Verdict::Problem);
        QCOMPARE(rule.detail, QStringLiteral("not installed"));
        QVERIFY(rule.advice.contains(QStringLiteral("re-plug")));
        QCOMPARE(Report{checks}.exitCode(), 1);
    }

    void ruleFoundUnderUsrLib() {
        FakeTree tree;
        tree.plugBoth();
        tree.write(QStringLiteral("/usr/lib/udev/rules.d/70-vortane-quillar.rules"),
                   "SUBSYSTEM==\"hidraw\", ATTRS{idVendor}==\"045B\", ATTRS{idProduct}==\"58F9\"\n"
                   "SUBSYSTEM==\"hidraw\", ATTRS{idVendor}==\"045b\", ATTRS{idProduct}==\"5968\"\n");
        QCOMPARE(find(devices(tree), Rule).verdict, Verdict::Ok);
    }

    void portHeldByANamedProcess() {
        FakeTree tree;
        tree.udp({{29778, 5555, 1000}});
        tree.process(812, "nc", QStringLiteral("/usr/bin/nc.openbsd"), {QStringLiteral("socket:[5555]")});
        const QList<Check> checks = ports(tree);
        const Check dcs = find(checks, Dcs);
        QCOMPARE(dcs.verdict, Verdict::Problem);
        QCOMPARE(dcs.detail, QStringLiteral("held by nc (pid 812)"));
        QCOMPARE(
            dcs.advice,
            QStringLiteral("close nc: while it holds the port, DCS's data does not reach Vortane Quillar"));
        QCOMPARE(find(checks, Il2).verdict, Verdict::Ok);
        QCOMPARE(Report{checks}.exitCode(), 1);
    }

    void portHeldByOurselvesOverIpv6Too() {
        FakeTree tree;
        tree.udp({{29777, 6001, 1000}});
        tree.udp({{55278, 6002, 1000}}, true);
        tree.process(1500, "quillar", QStringLiteral("/usr/bin/quillar"),
                     {QStringLiteral("socket:[6001]"), QStringLiteral("socket:[6002]")});
        const QList<Check> checks = ports(tree);
        QCOMPARE(find(checks, Il2).verdict, Verdict::Ok);
        QCOMPARE(find(checks, Il2).detail, QStringLiteral("in use by Vortane Quillar, quillar (pid 1500)"));
        QCOMPARE(find(checks, Condor).detail,
                 QStringLiteral("in use by Vortane Quillar, quillar (pid 1500)"));
        QCOMPARE(Report{checks}.exitCode(), 0);
    }

    void portHeldByAnotherUsersProgram() {
        FakeTree tree;
        tree.udp({{55278, 7007, 1001}});
        tree.process(2000, "someone", QStringLiteral("/usr/bin/someone"), {});
        tree.denied.insert(QStringLiteral("/proc/2000/fd"));
        const Check condor = find(ports(tree), Condor);
        QCOMPARE(condor.verdict, Verdict::Problem);
        QCOMPARE(condor.detail, QStringLiteral("held by another user's program (uid 1001)"));
    }

    void aProcessThatEndsMidScanIsSkipped() {
        FakeTree tree;
        tree.udp({{29778, 5555, 1000}});
        // Listed in /proc, but its folder is empty: it ended between the listing and the look inside.
        QDir().mkpath(tree.hostPath(QStringLiteral("/proc/3000")));
        tree.link(QStringLiteral("/proc/3001/fd/4"), QStringLiteral("socket:[5555]")); // no comm, no exe
        const Check dcs = find(ports(tree), Dcs);
        QCOMPARE(dcs.verdict, Verdict::Problem);
        QCOMPARE(dcs.detail, QStringLiteral("held by an unnamed program (pid 3001)"));
    }

    void damagedTablesAreSkipped() {
        FakeTree tree;
        tree.write(QStringLiteral("/proc/net/udp"),
                   "header\n garbage\n 0: 0100007F:ZZZZ 0 0 0 0 0 0 0 1\n\n\x01\x02");
        tree.write(QStringLiteral("/sys/class/hidraw/hidraw1/device/uevent"), QByteArray(5000, 'H'));
        tree.write(QStringLiteral("/sys/bus/usb/devices/usb1/idVendor"), "");
        const QList<Check> checks = ports(tree) + devices(tree);
        QCOMPARE(find(checks, Dcs).detail, QStringLiteral("free"));
        QCOMPARE(find(checks, Joystick).detail, QStringLiteral("not found on USB"));
    }

    void reportTextAndExitCode() {
        Report report;
        report.checks.append(
            {QStringLiteral("devices"), QStringLiteral("joystick"), Verdict::Ok, QStringLiteral("fine"), {}});
        report.checks.append({QStringLiteral("devices"), QStringLiteral("rudder"), Verdict::Warning,
                              QStringLiteral("not found on USB"), QStringLiteral("plug it in")});
        report.checks.append({QStringLiteral("network"),
                              QStringLiteral("X-Plane"),
                              Verdict::Ok,
                              QStringLiteral("answered"),
                              {}});
        QCOMPARE(report.exitCode(), 0);
        QCOMPARE(report.text(), QStringLiteral("devices\n"
                                               "  ok       joystick  fine\n"
                                               "  warning  rudder    not found on USB\n"
                                               "           what to do: plug it in\n"
                                               "\n"
                                               "network\n"
                                               "  ok       X-Plane   answered\n"
                                               "\n"
                                               "0 problems, 1 warning, 2 ok\n"));
        report.checks[2].verdict = Verdict::Problem;
        QCOMPARE(report.exitCode(), 1);
    }
};

QTEST_GUILESS_MAIN(TestSystemChecks)
#include "tst_systemchecks.moc"
