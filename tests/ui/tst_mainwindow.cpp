#include "hidapidouble.h"
#include "httpstub.h"
#include "mainbackgroundthread.h"
#include "mainwindow.h"
#include "refusingport.h"
#include "scratchworkingdirectory.h"
#include "signalrecorder.h"
#include "simulatorsetupdialog.h"
#include "statuswidget.h"
#include "threeaxiseffectswidget.h"

#include <QCheckBox>
#include <QDesktopServices>
#include <QDir>
#include <QHBoxLayout>
#include <QImage>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLineEdit>
#include <QMenuBar>
#include <QMessageBox>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QPushButton>
#include <QScreen>
#include <QSignalSpy>
#include <QSlider>
#include <QStatusBar>
#include <QTabWidget>
#include <QTcpServer>
#include <QTemporaryDir>
#include <QtTest>
#include <cstring>

namespace {
QStringList debugLines;
QtMessageHandler previousHandler = nullptr;

// The update check's lines, which go to the default category; the telemetry worker's own categories (an MSFS
// source finding no SimConnect server, say) are not the window's to answer for.
void recordDebugLine(QtMsgType type, const QMessageLogContext &context, const QString &message) {
    if (type == QtDebugMsg && (!context.category || qstrcmp(context.category, "default") == 0)) {
        debugLines << message;
    }
    previousHandler(type, context, message);
}

QByteArray manifest(const QByteArray &version, const QByteArray &whatsNew = "[]") {
    return "{\"quillar\": {\"version\": " + version + ", \"whats_new\": " + whatsNew + "}}";
}

QString baseUrlOf(const HttpStub &stub) {
    return QStringLiteral("http://127.0.0.1:%1").arg(stub.port());
}

// A DCS profile for one aircraft: a DirectX pass-through on the ailerons, everything else off.
QByteArray dcsProfile(const QString &flightModule) {
    const char *keys[] = {"airflow_spring", "simple_spring", "elevator_weight", "aoa_shaker",
                          "gear_shaker",    "flaps_shaker",  "airbrake_shaker", "on_ground_shaker",
                          "landing_jolt",   "il2_shaker",    "direct_x",        "condor_shaker",
                          "smart_damper"};
    QJsonObject effects;
    for (const char *axis : {"ailerons", "elevator", "rudder"}) {
        QJsonObject effectsOfAxis;
        for (const char *key : keys) {
            effectsOfAxis.insert(QLatin1String(key), QJsonObject{{"active", false}});
        }
        if (QByteArray(axis) == "ailerons") {
            effectsOfAxis.insert(QStringLiteral("direct_x"), QJsonObject{{"active", true},
                                                                         {"total_effect_strength", 80},
                                                                         {"trimmer", 10},
                                                                         {"force", 50},
                                                                         {"periodic", 40}});
        }
        effects.insert(QLatin1String(axis), effectsOfAxis);
    }
    const QJsonObject metadata{{"flight_data_source", 2}, {"flight_module", flightModule}, {"comment", ""}};
    return QJsonDocument(QJsonObject{{"metadata", metadata}, {"effects", effects}}).toJson();
}

float floatAt(const std::vector<unsigned char> &bytes, int offset) {
    float value = 0;
    std::memcpy(&value, bytes.data() + offset, sizeof value);
    return value;
}

} // namespace

// Catches what the window hands to the system's browser.
class UrlCatcher : public QObject {
    Q_OBJECT

public:
    QList<QUrl> opened;
    Q_INVOKABLE void openUrl(const QUrl &url) { opened << url; }
};

// What the notice looked like when the window ran it.
struct ShownDialog {
    QString title;
    QString text;
    Qt::TextFormat format = Qt::AutoText;
    QString details;
};

class TestMainWindow : public QObject {
    Q_OBJECT

private:
    QList<ShownDialog> shown;
    UrlCatcher catcher;

    // Installs a runner that records the notice and presses the button with the given text (none: Cancel).
    void recordDialogs(MainWindow &window, const QString &press = QString()) {
        window.setUpdateDialogRunner([this, press](QMessageBox &box) {
            shown << ShownDialog{box.windowTitle(), box.text(), box.textFormat(), box.detailedText()};
            QAbstractButton *target = box.button(QMessageBox::Cancel);
            for (QAbstractButton *button : box.buttons()) {
                if (!press.isEmpty() && button->text() == press) {
                    target = button;
                }
            }
            target->click();
        });
    }

    // The reply is the network manager's child until the window's handler has released it.
    static bool updateCheckDone(const MainWindow &window) {
        const auto *network = window.findChild<QNetworkAccessManager *>();
        return network && network->findChildren<QNetworkReply *>().isEmpty();
    }

    static QStringList errorLines() {
        return debugLines.filter(QRegularExpression(QStringLiteral("^error ")));
    }

    // Runs one start against a server answering `body` and returns once the reply has been handled.
    void startAgainst(HttpStub &stub, const QString &press = QString()) {
        MainWindow window(UpdateCheck::Endpoint{baseUrlOf(stub)});
        recordDialogs(window, press);
        QTRY_VERIFY(updateCheckDone(window));
        QCOMPARE(stub.requestCount(), 1);
    }

private slots:
    void initTestCase() {
        previousHandler = qInstallMessageHandler(recordDebugLine);
        QDesktopServices::setUrlHandler(QStringLiteral("http"), &catcher, "openUrl");
        HidApiDouble::reset();
    }

    void cleanupTestCase() {
        QDesktopServices::unsetUrlHandler(QStringLiteral("http"));
        qInstallMessageHandler(previousHandler);
    }

    void init() {
        shown.clear();
        catcher.opened.clear();
        debugLines.clear();
    }

    void formAndTitle() {
        ScratchWorkingDirectory scratch;
        QVERIFY(scratch.isValid());
        QTest::ignoreMessage(QtDebugMsg, "error QNetworkReply::ConnectionRefusedError");
        MainWindow window(UpdateCheck::Endpoint{QStringLiteral("http://127.0.0.1:%1").arg(refusingPort())});
        QCOMPARE(window.windowTitle(), QStringLiteral("Vortane Quillar (240120)"));
        QCOMPARE(window.size(), QSize(909, 539));

        auto *central = window.findChild<QWidget *>(QStringLiteral("centralwidget"));
        QVERIFY(central);
        QCOMPARE(window.centralWidget(), central);
        auto *outer = qobject_cast<QHBoxLayout *>(central->layout());
        QVERIFY(outer);
        QCOMPARE(outer->objectName(), QStringLiteral("horizontalLayout_2"));
        auto *tabs = window.findChild<QTabWidget *>(QStringLiteral("tabWidget"));
        auto *status = window.findChild<StatusWidget *>(QStringLiteral("status_widget"));
        QVERIFY(tabs);
        QVERIFY(status);
        QCOMPARE(outer->count(), 2);
        QCOMPARE(outer->itemAt(0)->widget(), tabs);
        QCOMPARE(outer->itemAt(1)->widget(), status);

        QCOMPARE(tabs->count(), 1);
        QCOMPARE(tabs->currentIndex(), 0);
        QCOMPARE(tabs->tabText(0), QStringLiteral("Effects"));
        QWidget *tab = tabs->widget(0);
        QCOMPARE(tab->objectName(), QStringLiteral("tab"));
        QCOMPARE(tab->layout()->objectName(), QStringLiteral("horizontalLayout"));
        auto *editor = window.findChild<QWidget *>(QStringLiteral("effect_settings_widget"));
        QVERIFY(editor);
        QCOMPARE(tab->layout()->itemAt(0)->widget(), editor);

        auto *menu = window.findChild<QMenuBar *>(QStringLiteral("menubar"));
        QVERIFY(menu);
        QCOMPARE(window.menuBar(), menu);
        QVERIFY(menu->actions().isEmpty());
        auto *bar = window.findChild<QStatusBar *>(QStringLiteral("statusbar"));
        QVERIFY(bar);
        QCOMPARE(window.statusBar(), bar);
        QCOMPARE(bar->currentMessage(), QString());
        QTRY_VERIFY(updateCheckDone(window));
    }

    void simulatorSetupOpensFromTheStatusBar() {
        ScratchWorkingDirectory scratch;
        // The dialog searches the home folder: an empty scratch one, never the real one of the machine.
        QTemporaryDir scratchHome;
        QVERIFY(scratchHome.isValid());
        struct HomeGuard {
            QByteArray real = qgetenv("HOME");
            ~HomeGuard() { qputenv("HOME", real); }
        } guard;
        qputenv("HOME", scratchHome.path().toUtf8());
        QCOMPARE(QDir::homePath(), scratchHome.path());
        QTest::ignoreMessage(QtDebugMsg, "error QNetworkReply::ConnectionRefusedError");
        MainWindow window(UpdateCheck::Endpoint{QStringLiteral("http://127.0.0.1:%1").arg(refusingPort())});
        auto *button = window.findChild<QPushButton *>(QStringLiteral("simulator_setup_button"));
        QVERIFY(button);
        QCOMPARE(button->text(), QStringLiteral("Simulator set-up…"));
        QCOMPARE(button->parentWidget(), window.statusBar());
        // The entry leaves the window as it is: empty menu bar, no status message, same size.
        QVERIFY(window.menuBar()->actions().isEmpty());
        QCOMPARE(window.statusBar()->currentMessage(), QString());
        QCOMPARE(window.size(), QSize(909, 539));
        QVERIFY(window.findChildren<SimulatorSetupDialog *>().isEmpty());

        button->click();
        QCOMPARE(window.findChildren<SimulatorSetupDialog *>().size(), 1);
        SimulatorSetupDialog *dialog = window.findChild<SimulatorSetupDialog *>();
        QVERIFY(dialog->isVisible());
        QCOMPARE(dialog->windowTitle(), QStringLiteral("Simulator set-up"));
        button->click();
        QCOMPARE(window.findChildren<SimulatorSetupDialog *>().size(), 1);
        QTRY_VERIFY(!dialog->isBusy());
        dialog->close();
        QTRY_VERIFY(window.findChildren<SimulatorSetupDialog *>().isEmpty());
        QTRY_VERIFY(updateCheckDone(window));
    }

    void iconComesFromTheWorkingDirectory() {
        ScratchWorkingDirectory scratch;
        QImage image(32, 32, QImage::Format_ARGB32);
        image.fill(Qt::white);
        QVERIFY(image.save(QStringLiteral("vortane_logo_icon_inverted.png")));
        QTest::ignoreMessage(QtDebugMsg, "error QNetworkReply::ConnectionRefusedError");
        MainWindow window(UpdateCheck::Endpoint{QStringLiteral("http://127.0.0.1:%1").arg(refusingPort())});
        QVERIFY(!window.windowIcon().isNull());
        QCOMPARE(window.windowIcon().pixmap(QSize(32, 32)).toImage().pixelColor(5, 5), QColor(Qt::white));
        QTRY_VERIFY(updateCheckDone(window));
    }

    void missingIconLeavesTheWindowWithout() {
        ScratchWorkingDirectory scratch;
        QTest::ignoreMessage(QtDebugMsg, "error QNetworkReply::ConnectionRefusedError");
        MainWindow window(UpdateCheck::Endpoint{QStringLiteral("http://127.0.0.1:%1").arg(refusingPort())});
        QVERIFY(window.windowIcon().pixmap(QSize(32, 32)).isNull());
        QTRY_VERIFY(updateCheckDone(window));
    }

    void askingForTheManifest() {
        ScratchWorkingDirectory scratch;
        HttpStub stub;
        QVERIFY(stub.listen());
        stub.answer(manifest("240120"));
        startAgainst(stub);
        QCOMPARE(stub.requestLines(), QStringList({"GET /assets/firmware/version.json HTTP/1.1"}));
        QVERIFY(shown.isEmpty());
        QCOMPARE(errorLines(), QStringList());
    }

    void sameVersionShowsNothing_data() {
        QTest::addColumn<QByteArray>("version");
        QTest::newRow("240120") << QByteArray("240120");
        QTest::newRow("240120.9") << QByteArray("240120.9");
    }

    void sameVersionShowsNothing() {
        QFETCH(QByteArray, version);
        ScratchWorkingDirectory scratch;
        HttpStub stub;
        QVERIFY(stub.listen());
        stub.answer(manifest(version, "[\"x\"]"));
        startAgainst(stub);
        QCOMPARE(shown.size(), 0);
        QCOMPARE(catcher.opened.size(), 0);
        QCOMPARE(errorLines(), QStringList());
    }

    void anyOtherVersionShowsTheNotice_data() {
        QTest::addColumn<QByteArray>("version");
        QTest::addColumn<QString>("versionLine");
        QTest::newRow("older") << QByteArray("240119") << "Version 240119";
        QTest::newRow("newer") << QByteArray("240121") << "Version 240121";
    }

    void anyOtherVersionShowsTheNotice() {
        QFETCH(QByteArray, version);
        QFETCH(QString, versionLine);
        ScratchWorkingDirectory scratch;
        HttpStub stub;
        QVERIFY(stub.listen());
        stub.answer(manifest(version, "[\"Smoother landing jolt\", \"Condor 2 gear fix\"]"));
        startAgainst(stub);
        QCOMPARE(shown.size(), 1);
        QCOMPARE(shown[0].title, QStringLiteral("Vortane Quillar (240120)"));
        QCOMPARE(shown[0].text, QStringLiteral("**New version of Vortane Quillar is available!**"));
        QCOMPARE(shown[0].format, Qt::MarkdownText);
        QCOMPARE(shown[0].details, versionLine + "\n\n- Smoother landing jolt\n- Condor 2 gear fix\n");
        QCOMPARE(catcher.opened.size(), 0);
        QCOMPARE(errorLines(), QStringList());
    }

    void emptyChangeList() {
        ScratchWorkingDirectory scratch;
        HttpStub stub;
        QVERIFY(stub.listen());
        stub.answer(manifest("240121"));
        startAgainst(stub);
        QCOMPARE(shown.size(), 1);
        QCOMPARE(shown[0].details, QStringLiteral("Version 240121\n\n"));
    }

    void bodyThatIsNotJson() {
        ScratchWorkingDirectory scratch;
        HttpStub stub;
        QVERIFY(stub.listen());
        stub.answer("<html><body>maintenance</body></html>");
        startAgainst(stub);
        QCOMPARE(shown.size(), 1);
        QCOMPARE(shown[0].details, QStringLiteral("Version 0\n\n"));
    }

    void downloadOpensTheDownloadPage() {
        ScratchWorkingDirectory scratch;
        HttpStub stub;
        QVERIFY(stub.listen());
        stub.answer(manifest("240121"));
        startAgainst(stub, QStringLiteral("Download and update"));
        QCOMPARE(shown.size(), 1);
        QCOMPARE(catcher.opened, QList<QUrl>({QUrl(baseUrlOf(stub) + "/docs/en/downloads.html")}));
        // Only one request: the page is the browser's business.
        QCOMPARE(stub.requestCount(), 1);
    }

    void cancelOpensNothing() {
        ScratchWorkingDirectory scratch;
        HttpStub stub;
        QVERIFY(stub.listen());
        stub.answer(manifest("240119"));
        startAgainst(stub);
        QCOMPARE(shown.size(), 1);
        QCOMPARE(catcher.opened.size(), 0);
    }

    void serverErrorIsOneDebugLine() {
        ScratchWorkingDirectory scratch;
        HttpStub stub;
        QVERIFY(stub.listen());
        stub.answer("{\"quillar\": {\"version\": 240121}}", 404);
        QTest::ignoreMessage(QtDebugMsg, "error QNetworkReply::ContentNotFoundError");
        startAgainst(stub);
        QCOMPARE(shown.size(), 0);
        QCOMPARE(errorLines(), QStringList({"error QNetworkReply::ContentNotFoundError"}));
    }

    void refusedConnectionIsOneDebugLine() {
        ScratchWorkingDirectory scratch;
        QTest::ignoreMessage(QtDebugMsg, "error QNetworkReply::ConnectionRefusedError");
        MainWindow window(UpdateCheck::Endpoint{QStringLiteral("http://127.0.0.1:%1").arg(refusingPort())});
        recordDialogs(window);
        QTRY_VERIFY(updateCheckDone(window));
        QCOMPARE(shown.size(), 0);
        QCOMPARE(errorLines(), QStringList({"error QNetworkReply::ConnectionRefusedError"}));
    }

    void silentServerTimesOut() {
        ScratchWorkingDirectory scratch;
        HttpStub stub;
        QVERIFY(stub.listen());
        stub.setMode(HttpStub::Mode::Silent);
        QTest::ignoreMessage(QtDebugMsg, "error QNetworkReply::OperationCanceledError");
        MainWindow window(UpdateCheck::Endpoint{baseUrlOf(stub), 300});
        recordDialogs(window);
        QTRY_VERIFY_WITH_TIMEOUT(updateCheckDone(window), 20000);
        QCOMPARE(stub.requestCount(), 1);
        QCOMPARE(shown.size(), 0);
        QCOMPARE(errorLines(), QStringList({"error QNetworkReply::OperationCanceledError"}));
    }

    // Without an address there is no request at all: no reply ever exists, nothing is logged or shown.
    void emptyHostMakesNoRequest_data() {
        QTest::addColumn<QString>("baseUrl");
        QTest::newRow("empty") << QString();
        QTest::newRow("blank") << QStringLiteral("  ");
    }

    void emptyHostMakesNoRequest() {
        QFETCH(QString, baseUrl);
        ScratchWorkingDirectory scratch;
        MainWindow window(UpdateCheck::Endpoint{baseUrl});
        recordDialogs(window);
        auto *network = window.findChild<QNetworkAccessManager *>();
        QVERIFY(network);
        QCOMPARE(network->findChildren<QNetworkReply *>().size(), 0);
        int replies = 0;
        connect(network, &QNetworkAccessManager::finished, this, [&replies] { ++replies; });
        QTest::qWait(300);
        QCOMPARE(network->findChildren<QNetworkReply *>().size(), 0);
        QCOMPARE(replies, 0);
        QCOMPARE(shown.size(), 0);
        QCOMPARE(debugLines, QStringList());
    }

    void productTimeoutIsTenSeconds() {
        QCOMPARE(UpdateCheck::Endpoint{}.transferTimeoutMs, 10000);
        QCOMPARE(UpdateCheck::TransferTimeoutMs, 10000);
    }

    void centredFromSizesOnly() {
        QCOMPARE(MainWindow::centredPosition(QSize(1280, 800), QSize(909, 539)), QPoint(185, 130));
        // A primary screen at (1920, 0) changes nothing: only its size is used.
        QCOMPARE(MainWindow::centredPosition(QSize(1920, 1080), QSize(909, 539)), QPoint(505, 270));
        // Integer division truncates towards zero when the window is the larger.
        QCOMPARE(MainWindow::centredPosition(QSize(800, 800), QSize(909, 539)), QPoint(-54, 130));
        QCOMPARE(MainWindow::centredPosition(QSize(800, 500), QSize(909, 539)), QPoint(-54, -19));

        ScratchWorkingDirectory scratch;
        QTest::ignoreMessage(QtDebugMsg, "error QNetworkReply::ConnectionRefusedError");
        MainWindow window(UpdateCheck::Endpoint{QStringLiteral("http://127.0.0.1:%1").arg(refusingPort())});
        window.show();
        QVERIFY(QTest::qWaitForWindowExposed(&window));
        window.centreOnPrimaryScreen();
        const QSize screen = QGuiApplication::primaryScreen()->geometry().size();
        // move() places the frame; the sizes are those of the window's own geometry.
        QCOMPARE(window.pos(), QPoint((screen.width() - window.geometry().width()) / 2,
                                      (screen.height() - window.geometry().height()) / 2));
        QTRY_VERIFY(updateCheckDone(window));
    }

    void workerReachesTheStatusPanel() {
        ScratchWorkingDirectory scratch;
        HidApiDouble::reset();
        HidApiDouble::setVersionBytes(HidApiDouble::Device::Joystick, 0x0C, 0x00, 0x00);
        HidApiDouble::setPosition(HidApiDouble::Device::Joystick, 0.25f, -0.5f, 0, 0);
        HidApiDouble::setVersionBytes(HidApiDouble::Device::Rudder, 0x01, 0x02, 0x00);
        HidApiDouble::setPosition(HidApiDouble::Device::Rudder, 0.125f, 0, 0, 0);
        HidApiDouble::setPlugged(HidApiDouble::Device::Joystick, true);
        HidApiDouble::setPlugged(HidApiDouble::Device::Rudder, true);

        QTest::ignoreMessage(QtDebugMsg, "error QNetworkReply::ConnectionRefusedError");
        MainWindow window(UpdateCheck::Endpoint{QStringLiteral("http://127.0.0.1:%1").arg(refusingPort())});
        auto *status = window.findChild<StatusWidget *>(QStringLiteral("status_widget"));
        auto field = [status](const char *name) {
            return status->findChild<QLineEdit *>(QString::fromLatin1(name))->text();
        };
        QCOMPARE(window.backgroundWorker()->parent(), nullptr);
        QVERIFY(window.backgroundWorker()->thread() != window.thread());

        // Version word: the report id 0x25 in the low byte, the firmware bytes above it.
        QTRY_COMPARE_WITH_TIMEOUT(field("joystick_state"), QStringLiteral("Connected (Version 3109)"), 20000);
        QTRY_COMPARE_WITH_TIMEOUT(field("rudder_state"), QStringLiteral("Connected (Version 131365)"), 20000);
        QTRY_COMPARE_WITH_TIMEOUT(field("roll_input"), QStringLiteral("0.25"), 20000);
        QTRY_COMPARE_WITH_TIMEOUT(field("pitch_input"), QStringLiteral("-0.5"), 20000);
        QTRY_COMPARE_WITH_TIMEOUT(field("yaw_input"), QStringLiteral("0.125"), 20000);

        // A failed position read is a lost device.
        HidApiDouble::setPlugged(HidApiDouble::Device::Joystick, false);
        QTRY_COMPARE_WITH_TIMEOUT(field("joystick_state"), QStringLiteral("Not detected"), 20000);
        HidApiDouble::setPlugged(HidApiDouble::Device::Rudder, false);
        QTRY_COMPARE_WITH_TIMEOUT(field("rudder_state"), QStringLiteral("Not detected"), 20000);
        QTRY_VERIFY(updateCheckDone(window));
        HidApiDouble::reset();
    }

    void editorAndPanelsAreWired() {
        ScratchWorkingDirectory scratch;
        QVERIFY(scratch.writeProfile(QStringLiteral("DCS_F_16C_50.json"),
                                     dcsProfile(QStringLiteral("F-16C_50"))));
        HidApiDouble::reset();
        HidApiDouble::setPlugged(HidApiDouble::Device::Joystick, true);
        QTest::ignoreMessage(QtDebugMsg, "error QNetworkReply::ConnectionRefusedError");
        MainWindow window(UpdateCheck::Endpoint{QStringLiteral("http://127.0.0.1:%1").arg(refusingPort())});
        window.show();
        QVERIFY(QTest::qWaitForWindowExposed(&window));
        MainBackgroundThread *worker = window.backgroundWorker();
        auto *status = window.findChild<StatusWidget *>(QStringLiteral("status_widget"));
        auto *editor = window.findChild<ThreeAxisEffectsWidget *>(QStringLiteral("effect_settings_widget"));
        QVERIFY(editor);
        auto field = [status](const char *name) {
            return status->findChild<QLineEdit *>(QString::fromLatin1(name))->text();
        };
        QTRY_COMPARE_WITH_TIMEOUT(field("joystick_state"), QStringLiteral("Connected (Version 37)"), 20000);

        // The panel's check box switches the editor's automatic activation.
        auto *activation = status->findChild<QCheckBox *>(QStringLiteral("profile_activation"));
        QVERIFY(editor->isProfileActivationEnabled());
        QTest::mouseClick(activation, Qt::LeftButton, {}, activation->rect().center());
        QVERIFY(!editor->isProfileActivationEnabled());
        emit worker->telemetrySourceChanged(Telemetry::TELEMETRY_SOURCE_DCS, QStringLiteral("F-16C_50"));
        QCOMPARE(editor->currentProfile().metadata.flightModule, QString());
        QCOMPARE(field("telemetry_data_source"), QStringLiteral("DCS"));
        QTest::mouseClick(activation, Qt::LeftButton, {}, activation->rect().center());
        QVERIFY(editor->isProfileActivationEnabled());

        // A detected aircraft loads its profile, which reaches the worker as a sudden change: the worker then
        // sends the DirectX override of the loaded settings.
        HidApiDouble::clearCalls();
        emit worker->telemetrySourceChanged(Telemetry::TELEMETRY_SOURCE_DCS, QStringLiteral("F-16C_50"));
        QCOMPARE(editor->currentProfile().metadata.flightModule, QStringLiteral("F-16C_50"));
        QCOMPARE(editor->currentProfile().metadata.source, Telemetry::TELEMETRY_SOURCE_DCS);
        QCOMPARE(field("flight_module"), QStringLiteral("F-16C_50"));
        QTRY_COMPARE_WITH_TIMEOUT(int(HidApiDouble::writes(HidApiDouble::Device::Joystick, 0x21).size()), 1,
                                  20000);
        const std::vector<unsigned char> report =
            HidApiDouble::writes(HidApiDouble::Device::Joystick, 0x21)[0].bytes;
        QCOMPARE(int(report.size()), 65);
        QCOMPARE(floatAt(report, 2), 10.0f / 100);
        QCOMPARE(floatAt(report, 6), 0.0f);
        QCOMPARE(floatAt(report, 10), 80.0f * 50.0f / 100 / 100);
        QCOMPARE(floatAt(report, 18), 80.0f * 40.0f / 100 / 100);

        // A moderate change takes the same way in.
        EffectsSettings settings = editor->currentProfile().settings;
        settings.ailerons().directX.active = false;
        emit editor->moderateValueChange(settings);
        QTRY_COMPARE_WITH_TIMEOUT(int(HidApiDouble::writes(HidApiDouble::Device::Joystick, 0x21).size()), 2,
                                  20000);
        const std::vector<unsigned char> off =
            HidApiDouble::writes(HidApiDouble::Device::Joystick, 0x21)[1].bytes;
        QCOMPARE(floatAt(off, 2), 0.0f);
        QCOMPARE(floatAt(off, 10), 0.0f);
        QTRY_VERIFY(updateCheckDone(window));
        HidApiDouble::reset();
    }

    // The worker's signals emitted where the worker really emits them, in its own thread: each reaches the
    // panels through the queued, cross-thread path, and the editor's answer reaches the devices.
    void workerSignalsCrossFromTheWorkersThread() {
        ScratchWorkingDirectory scratch;
        QVERIFY(scratch.writeProfile(QStringLiteral("DCS_F_16C_50.json"), dcsProfile(QStringLiteral("F-16C_50"))));
        HidApiDouble::reset();
        HidApiDouble::setPlugged(HidApiDouble::Device::Joystick, true);
        QTest::ignoreMessage(QtDebugMsg, "error QNetworkReply::ConnectionRefusedError");
        MainWindow window(UpdateCheck::Endpoint{QStringLiteral("http://127.0.0.1:%1").arg(refusingPort())});
        window.show();
        QVERIFY(QTest::qWaitForWindowExposed(&window));
        MainBackgroundThread *worker = window.backgroundWorker();
        QVERIFY(worker->thread() != QThread::currentThread());
        auto *status = window.findChild<StatusWidget *>(QStringLiteral("status_widget"));
        auto *editor = window.findChild<ThreeAxisEffectsWidget *>(QStringLiteral("effect_settings_widget"));
        auto field = [status](const char *name) {
            return status->findChild<QLineEdit *>(QString::fromLatin1(name))->text();
        };
        QTRY_COMPARE_WITH_TIMEOUT(field("joystick_state"), QStringLiteral("Connected (Version 37)"), 20000);
        const auto inWorker = [worker](const std::function<void()> &emitter) {
            QMetaObject::invokeMethod(worker, emitter, Qt::BlockingQueuedConnection);
        };

        HidApiDouble::clearCalls();
        inWorker([worker] {
            emit worker->telemetrySourceChanged(Telemetry::TELEMETRY_SOURCE_DCS, QStringLiteral("F-16C_50"));
        });
        QTRY_COMPARE(editor->currentProfile().metadata.flightModule, QStringLiteral("F-16C_50"));
        QCOMPARE(field("telemetry_data_source"), QStringLiteral("DCS"));
        QCOMPARE(field("flight_module"), QStringLiteral("F-16C_50"));
        // The loaded profile went back to the worker as a sudden change: its DirectX override reaches the stick.
        QTRY_COMPARE_WITH_TIMEOUT(int(HidApiDouble::writes(HidApiDouble::Device::Joystick, 0x21).size()), 1,
                                  20000);
        QCOMPARE(floatAt(HidApiDouble::writes(HidApiDouble::Device::Joystick, 0x21)[0].bytes, 10),
                 80.0f * 50.0f / 100 / 100);

        Telemetry record;
        record.aoa = 3.5f;
        inWorker([worker, record] { emit worker->telemetryChanged(record); });
        QTRY_COMPARE(field("aoa_field"), QStringLiteral("3.5"));
        inWorker([worker] { emit worker->telemetryEnded(); });
        QTRY_COMPARE(field("telemetry_data_source"), QStringLiteral("Not detected"));
        inWorker([worker] { emit worker->rudderConnected(0x00000325); });
        QTRY_COMPARE(field("rudder_state"), QStringLiteral("Connected (Version 805)"));
        inWorker([worker] { emit worker->rudderDisconnected(); });
        QTRY_COMPARE(field("rudder_state"), QStringLiteral("Not detected"));
        // positionChanged is emitted by the worker's own cycle in its thread, which workerReachesTheStatusPanel
        // follows to the panel.
        QTRY_VERIFY(updateCheckDone(window));
        HidApiDouble::reset();
    }

    void liveAndOverriddenTelemetry() {
        ScratchWorkingDirectory scratch;
        QTest::ignoreMessage(QtDebugMsg, "error QNetworkReply::ConnectionRefusedError");
        MainWindow window(UpdateCheck::Endpoint{QStringLiteral("http://127.0.0.1:%1").arg(refusingPort())});
        window.show();
        QVERIFY(QTest::qWaitForWindowExposed(&window));
        MainBackgroundThread *worker = window.backgroundWorker();
        auto *status = window.findChild<StatusWidget *>(QStringLiteral("status_widget"));
        auto field = [status](const char *name) {
            return status->findChild<QLineEdit *>(QString::fromLatin1(name))->text();
        };
        // Received here, queued from the worker's thread: a QSignalSpy would be written by that thread.
        SignalRecorder changed(worker, &MainBackgroundThread::telemetryChanged);

        DCSTelemetry record;
        record.aoa = 6.5f;
        QMetaObject::invokeMethod(worker, "setDcsTelemetry", Qt::QueuedConnection,
                                  Q_ARG(DCSTelemetry, record));
        QTRY_COMPARE_WITH_TIMEOUT(field("aoa_field"), QStringLiteral("6.5"), 20000);
        QTRY_COMPARE(changed.count(), 1);

        // The panel's switch reaches the worker: it drops source records from then on.
        auto *override = status->findChild<QCheckBox *>(QStringLiteral("telemetry_override"));
        QTest::mouseClick(override, Qt::LeftButton, {}, override->rect().center());
        QCOMPARE(field("aoa_field"), QStringLiteral("0"));
        record.aoa = 9;
        QMetaObject::invokeMethod(worker, "setDcsTelemetry", Qt::QueuedConnection,
                                  Q_ARG(DCSTelemetry, record));
        // A blocking call queued behind the record proves the worker has handled it.
        QMetaObject::invokeMethod(
            worker, [] {}, Qt::BlockingQueuedConnection);
        QCoreApplication::processEvents();
        QCOMPARE(changed.count(), 1);
        QCOMPARE(field("aoa_field"), QStringLiteral("0"));

        QTest::mouseClick(override, Qt::LeftButton, {}, override->rect().center());
        QMetaObject::invokeMethod(worker, "setDcsTelemetry", Qt::QueuedConnection,
                                  Q_ARG(DCSTelemetry, record));
        QTRY_COMPARE_WITH_TIMEOUT(field("aoa_field"), QStringLiteral("9"), 20000);
        QTRY_COMPARE(changed.count(), 2);
        QCOMPARE(changed.last().at(0).value<Telemetry>().aoa, 9.0f);
        for (QThread *receiver : changed.receivedIn())
            QCOMPARE(receiver, QThread::currentThread());
        QTRY_VERIFY(updateCheckDone(window));
    }
};

QTEST_MAIN(TestMainWindow)
#include "tst_mainwindow.moc"
