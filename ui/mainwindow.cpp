#include "mainwindow.h"
#include "ui_mainwindow.h"

#include "aircraftfactschannel.h"
#include "classtemplatebar.h"
#include "classtemplatesetting.h"
#include "cyclefigureslabel.h"
#include "diagnosticsdialog.h"
#include "forcescopeview.h"
#include "mainbackgroundthread.h"
#include "profilestore.h"
#include "setupengine.h"
#include "simulatorsetupdialog.h"
#include "statuswidget.h"
#include "threeaxiseffectswidget.h"

#include <QBoxLayout>
#include <QCheckBox>
#include <QDebug>
#include <QDesktopServices>
#include <QDir>
#include <QDockWidget>
#include <QFile>
#include <QMessageBox>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QNetworkRequest>
#include <QPushButton>
#include <QScreen>
#include <QStatusBar>
#include <QTemporaryDir>
#include <QVBoxLayout>
#include <QThread>
#include <QTimer>
#include <QToolButton>

#ifndef QUILLAR_UPDATE_BASE_URL
#define QUILLAR_UPDATE_BASE_URL ""
#endif

MainWindow::MainWindow(QWidget *parent)
    : MainWindow(UpdateCheck::Endpoint{QStringLiteral(QUILLAR_UPDATE_BASE_URL)}, parent) {}

MainWindow::MainWindow(const UpdateCheck::Endpoint &updateEndpoint, QWidget *parent)
    : QMainWindow(parent), ui(std::make_unique<Ui::MainWindow>()),
      // A plain path in the working directory, beside the profiles, not a compiled-in resource.
      icon(std::make_unique<QIcon>(QStringLiteral("vortane_logo_icon_inverted.png"))),
      updateEndpoint(updateEndpoint), network(new QNetworkAccessManager(this)),
      updateRequest(std::make_unique<QNetworkRequest>(UpdateCheck::manifestRequest(updateEndpoint))),
      worker(new MainBackgroundThread()), runUpdateDialog([](QMessageBox &box) { box.exec(); }) {
    ui->setupUi(this);
    setWindowIcon(*icon);
    setWindowTitle(QStringLiteral("Vortane Quillar (%1)").arg(ApplicationVersion));

    connectPanels();
    addSimulatorSetupEntry();
    addForcesView();
    addDiagnosticsEntry();
    addClassTemplateBar();

    // Both fire once the event loop runs, so startCycle runs in the worker's own thread.
    auto *startTimer = new QTimer();
    startTimer->setSingleShot(true);
    connect(startTimer, &QTimer::timeout, worker, &MainBackgroundThread::startCycle);
    connect(startTimer, &QTimer::timeout, startTimer, &QObject::deleteLater);
    startTimer->start();

    // Never quit, waited for or deleted: the process ends with the thread still running.
    auto *thread = new QThread();
    thread->setObjectName(QStringLiteral("device cycle")); // the name a thread list (top -H) shows
    thread->start(QThread::InheritPriority);
    worker->moveToThread(thread);

    startUpdateCheck();
}

MainWindow::~MainWindow() = default;

void MainWindow::setUpdateDialogRunner(UpdateDialogRunner runner) {
    runUpdateDialog = std::move(runner);
}

QPoint MainWindow::centredPosition(const QSize &screen, const QSize &window) {
    return QPoint((screen.width() - window.width()) / 2, (screen.height() - window.height()) / 2);
}

void MainWindow::centreOnPrimaryScreen() {
    if (const QScreen *screen = QGuiApplication::primaryScreen()) {
        move(centredPosition(screen->geometry().size(), geometry().size()));
    }
}

void MainWindow::connectPanels() {
    StatusWidget *status = ui->status_widget;
    connect(status, &StatusWidget::telemetryOverrideDisabled, worker,
            &MainBackgroundThread::disableTelemetryOverride);
    connect(status, &StatusWidget::telemetryOverrideEnabled, worker,
            &MainBackgroundThread::enableTelemetryOverride);
    connect(status, &StatusWidget::telemetryOverrided, worker, &MainBackgroundThread::overrideTelemetry);
    connect(status, &StatusWidget::landed, worker, &MainBackgroundThread::setLanded);

    ThreeAxisEffectsWidget *editor = ui->effect_settings_widget;
    connect(status, &StatusWidget::profileActivationEnabled, editor,
            &ThreeAxisEffectsWidget::enableProfileActivation);
    connect(status, &StatusWidget::profileActivationDisabled, editor,
            &ThreeAxisEffectsWidget::disableProfileActivation);
    connect(editor, &ThreeAxisEffectsWidget::suddenValueChange, worker,
            &MainBackgroundThread::changeSettingsSuddenly);
    connect(editor, &ThreeAxisEffectsWidget::moderateValueChange, worker,
            &MainBackgroundThread::changeSettingsModerately);

    connect(worker, &MainBackgroundThread::telemetryChanged, status, &StatusWidget::changeTelemetry);
    connect(worker, &MainBackgroundThread::telemetrySourceChanged, status,
            &StatusWidget::changeTelemetrySource);
    connect(worker, &MainBackgroundThread::telemetrySourceChanged, editor,
            &ThreeAxisEffectsWidget::activateProfileFor);
    connect(worker, &MainBackgroundThread::telemetryEnded, status, &StatusWidget::endTelemetry);
    connect(worker, &MainBackgroundThread::joystickConnected, status, &StatusWidget::connectJoystick);
    connect(worker, &MainBackgroundThread::joystickDisconnected, status, &StatusWidget::disconnectJoystick);
    connect(worker, &MainBackgroundThread::rudderConnected, status, &StatusWidget::connectRudder);
    connect(worker, &MainBackgroundThread::rudderDisconnected, status, &StatusWidget::disconnectRudder);
    connect(worker, &MainBackgroundThread::positionChanged, status, &StatusWidget::changePosition);
}

void MainWindow::addSimulatorSetupEntry() {
    // In the status bar, so the menu bar and the window's layout stay as they are.
    auto *button = new QPushButton(tr("Simulator set-up…"), ui->statusbar);
    button->setObjectName(QStringLiteral("simulator_setup_button"));
    button->setFlat(true);
    ui->statusbar->addPermanentWidget(button);
    connect(button, &QPushButton::clicked, this, [this] {
        if (!setupDialog) {
            setupDialog = new SimulatorSetupDialog(QDir::homePath(), this);
            setupDialog->setAttribute(Qt::WA_DeleteOnClose);
        }
        setupDialog->show();
        setupDialog->raise();
        setupDialog->activateWindow();
    });
}

void MainWindow::addForcesView() {
    // Never deleted, like the worker that keeps writing it after the window is gone.
    auto *ring = new ForceScopeRing();
    worker->setForceScope(ring);

    // A dock of its own, opened from a button in the tab bar's corner: the window's form, its one tab and its
    // start size stay as they are. It starts hidden and, once opened, floats beside the window until docked.
    forcesDock = new QDockWidget(tr("Forces"), this);
    forcesDock->setObjectName(QStringLiteral("forces_dock"));
    auto *view = new ForceScopeView(forcesDock);
    view->setObjectName(QStringLiteral("forces_view"));
    view->setRing(ring);
    forcesDock->setWidget(view);
    addDockWidget(Qt::BottomDockWidgetArea, forcesDock);
    forcesDock->setFloating(true);
    forcesDock->resize(view->size());
    forcesDock->hide();

    auto *button = new QToolButton(ui->tabWidget);
    button->setObjectName(QStringLiteral("forces_button"));
    button->setDefaultAction(forcesDock->toggleViewAction());
    button->setToolButtonStyle(Qt::ToolButtonTextOnly);
    ui->tabWidget->setCornerWidget(button, Qt::TopRightCorner);
}

void MainWindow::addClassTemplateBar() {
    ThreeAxisEffectsWidget *editor = ui->effect_settings_widget;
    const QString settingsPath = ClassTemplateSetting::settingsFilePath();
    templateBar = new ClassTemplateBar(editor, ClassTemplateSetting::read(settingsPath));

    // At the top of the profile editor, above the profile fields it is about; the window's form, its central
    // widget and its start size stay as they are, and hidden the bar takes no room.
    if (auto *layout = qobject_cast<QBoxLayout *>(editor->layout()))
        layout->insertWidget(0, templateBar);

    // After the editor's own handler, so the bar sees whether automatic activation found a profile.
    connect(worker, &MainBackgroundThread::telemetrySourceChanged, templateBar,
            &ClassTemplateBar::aircraftDetected);
    connect(ui->status_widget, &StatusWidget::profileActivationDisabled, templateBar,
            &ClassTemplateBar::activationDisabled);
    connect(&AircraftFactsChannel::instance(), &AircraftFactsChannel::factsChanged, templateBar,
            &ClassTemplateBar::factsReported);

    // In the status bar: the zero-click choice for pilots who cannot reach the window in flight.
    auto *check = new QCheckBox(tr("Use class templates"), ui->statusbar);
    check->setObjectName(QStringLiteral("use_class_template"));
    check->setToolTip(
        tr("An aircraft without a profile flies with its class's template at once, nothing saved"));
    check->setChecked(templateBar->usesClassTemplate());
    ui->statusbar->addPermanentWidget(check);
    connect(check, &QCheckBox::toggled, this, [this, settingsPath](bool on) {
        ClassTemplateSetting::write(settingsPath, on);
        templateBar->setUseClassTemplate(on);
    });
}

void MainWindow::addDiagnosticsEntry() {
    // Never deleted, like the worker that keeps writing it.
    auto *figures = new CycleFigures();
    worker->setCycleFigures(figures);

    // The Forces view gets the cycle's figures as its header.
    auto *view = forcesDock->findChild<ForceScopeView *>(QStringLiteral("forces_view"));
    auto *panel = new QWidget(forcesDock);
    panel->setObjectName(QStringLiteral("forces_panel"));
    auto *layout = new QVBoxLayout(panel);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(2);
    auto *header = new CycleFiguresLabel(figures, panel);
    header->setContentsMargins(6, 2, 6, 0);
    layout->addWidget(header);
    layout->addWidget(view, 1);
    forcesDock->setWidget(panel);
    forcesDock->resize(view->width(), view->height() + header->sizeHint().height() + 2);

    // Beside "Simulator set-up…" in the status bar.
    auto *button = new QPushButton(tr("Diagnostics…"), ui->statusbar);
    button->setObjectName(QStringLiteral("diagnostics_button"));
    button->setFlat(true);
    ui->statusbar->addPermanentWidget(button);
    connect(button, &QPushButton::clicked, this, [this, figures, view] {
        if (!diagnosticsDialog) {
            DiagnosticsDialog::Sources sources;
            sources.setting = Diagnostics::DoctorSetting::forHome(QDir::homePath(),
                                                                   QuillarSetup::dcsScriptFromResource());
            // The program's own working folder is where its SimConnect.cfg and profiles are looked for.
            sources.setting.workingFolder = QDir::currentPath();
            sources.setting.targets.simConnect =
                Diagnostics::simConnectEndpoints(QDir::currentPath(), sources.setting.dataFolder());
            sources.figures = figures;
            sources.activeProfile = [this] {
                return ProfileStore::fileNameFor(ui->effect_settings_widget->currentProfile().metadata);
            };
            sources.forcesCsv = [view] {
                QTemporaryDir scratch;
                const QString path = scratch.filePath(QStringLiteral("forces.csv"));
                if (!scratch.isValid() || !view->exportCsv(path))
                    return QByteArray();
                QFile file(path);
                return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
            };
            diagnosticsDialog = new DiagnosticsDialog(std::move(sources), this);
            diagnosticsDialog->setAttribute(Qt::WA_DeleteOnClose);
        }
        diagnosticsDialog->show();
        diagnosticsDialog->raise();
        diagnosticsDialog->activateWindow();
    });
}

void MainWindow::startUpdateCheck() {
    // A build without the vendor's address has nowhere to ask: no request, so nothing fails or is logged.
    if (updateEndpoint.baseUrl.trimmed().isEmpty())
        return;
    updateReply = network->get(*updateRequest);
    connect(updateReply, &QNetworkReply::finished, this, &MainWindow::updateCheckFinished);
}

void MainWindow::updateCheckFinished() {
    QNetworkReply *reply = updateReply;
    updateReply = nullptr;
    if (!reply) {
        return;
    }
    // The one diagnostic line of the program; nothing is shown and nothing is retried.
    if (reply->error() != QNetworkReply::NoError) {
        qDebug() << "error" << reply->error();
        reply->deleteLater();
        return;
    }
    const UpdateCheck::Manifest manifest = UpdateCheck::parseManifest(reply->readAll());
    if (UpdateCheck::offersUpdate(manifest, ApplicationVersion)) {
        UpdateCheck::Dialog dialog = UpdateCheck::buildDialog(manifest, ApplicationVersion);
        runUpdateDialog(*dialog.box);
        if (dialog.box->clickedButton() == dialog.download) {
            QDesktopServices::openUrl(UpdateCheck::downloadPageUrl(updateEndpoint.baseUrl));
        }
    }
    reply->deleteLater();
}

// Compiled here rather than in the library's shared moc unit, so linking a panel alone does not pull in the
// worker and its hidapi calls.
#include "moc_mainwindow.cpp"
