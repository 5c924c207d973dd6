#pragma once

#include "updatecheck.h"

#include <QIcon>
#include <QMainWindow>
#include <QPointer>
#include <functional>
#include <memory>

namespace Ui {
class MainWindow;
}

class ClassTemplateBar;
class MainBackgroundThread;
class QDockWidget;
class QMessageBox;
class QNetworkAccessManager;
class QNetworkReply;
class QNetworkRequest;
class SimulatorSetupDialog;
class DiagnosticsDialog;

// The program's one window: the profile and effect editor, the status panel, the background worker they
// talk to, and the start-up update check.
class MainWindow : public QMainWindow {
    Q_OBJECT

public:
    static constexpr int ApplicationVersion = 240120;

    // Runs the finished update notice; the default runs it modally with exec().
    using UpdateDialogRunner = std::function<void(QMessageBox &)>;

    // Asks the vendor's host that the build names.
    explicit MainWindow(QWidget *parent = nullptr);
    explicit MainWindow(const UpdateCheck::Endpoint &updateEndpoint, QWidget *parent = nullptr);
    ~MainWindow() override;

    void setUpdateDialogRunner(UpdateDialogRunner runner);

    // Centres the window from the two sizes alone: the screen's own top-left corner is not added, so on a
    // primary screen that does not start at (0, 0) the window lands relative to the desktop origin.
    static QPoint centredPosition(const QSize &screen, const QSize &window);
    void centreOnPrimaryScreen();

    MainBackgroundThread *backgroundWorker() const { return worker; }
    // The "Forces" view's dock: hidden at start, opened by the "Forces" button beside the tabs.
    QDockWidget *forcesView() const { return forcesDock; }
    // The bar offered for a detected aircraft without a profile.
    ClassTemplateBar *classTemplateBar() const { return templateBar; }

private:
    void connectPanels();
    void addSimulatorSetupEntry();
    void addForcesView();
    void addClassTemplateBar();
    void addDiagnosticsEntry();
    void startUpdateCheck();
    void updateCheckFinished();

    std::unique_ptr<Ui::MainWindow> ui;
    std::unique_ptr<QIcon> icon;
    UpdateCheck::Endpoint updateEndpoint;
    QNetworkAccessManager *network = nullptr;
    std::unique_ptr<QNetworkRequest> updateRequest;
    MainBackgroundThread *worker = nullptr; // never deleted: there is no orderly shutdown
    QNetworkReply *updateReply = nullptr;
    UpdateDialogRunner runUpdateDialog;
    QPointer<SimulatorSetupDialog> setupDialog; // one at a time; it deletes itself when closed
    QDockWidget *forcesDock = nullptr;
    ClassTemplateBar *templateBar = nullptr;
    QPointer<DiagnosticsDialog> diagnosticsDialog; // one at a time; it deletes itself when closed
};
