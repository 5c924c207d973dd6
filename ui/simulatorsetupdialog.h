#pragma once

#include "setupengine.h"

#include <QDialog>
#include <QFutureWatcher>
#include <memory>

namespace Ui {
class SimulatorSetupDialog;
}

// "Simulator set-up": one row per installation found, with its state and the actions it allows. An action
// first shows what it will change; "Apply" then makes exactly those changes. Searching, planning and
// writing run on a pool thread, so the window never waits on the disk (and the device cycle, on its own
// thread, never notices any of it).
class SimulatorSetupDialog : public QDialog {
    Q_OBJECT

public:
    // Looks under `home` (the user's home folder in the program; a fake one in tests).
    explicit SimulatorSetupDialog(const QString &home, QWidget *parent = nullptr);
    ~SimulatorSetupDialog() override;

    // True while a search, a preview or a change runs.
    bool isBusy() const;

    struct Row {
        QuillarSetup::Installation installation;
        QuillarSetup::Assessment assessment;
    };
    struct Scan {
        QList<Row> rows;
        QStringList notes;
    };
    enum class Action { Install, Repair, Remove };
    struct Outcome {
        QStringList lines;
        QuillarSetup::Plan plan; // what a preview found; applied by "Apply"
        bool applied = false;
    };

public slots:
    void rescan();

private:
    void showScan();
    void preview(int row, Action action);
    void apply();
    void showOutcome();
    void setBusy(bool busy);

    std::unique_ptr<Ui::SimulatorSetupDialog> ui;
    QuillarSetup::SetupEngine engine;
    QList<Row> rows;
    QFutureWatcher<Scan> scanWatcher;
    QFutureWatcher<Outcome> outcomeWatcher;
    // The previewed action, applied by "Apply".
    int pendingRow = -1;
    Action pendingAction = Action::Install;
    QuillarSetup::Plan pendingPlan;
    QString pendingTitle;
};
