#pragma once

#include "setupengine.h"

#include <QDialog>
#include <QFutureWatcher>
#include <atomic>
#include <functional>
#include <memory>

namespace Ui {
class SimulatorSetupDialog;
}

// "Simulator set-up": one row per installation found, with its state and the actions it allows. An action
// first shows what it will change; "Apply" then makes exactly those changes. "Set up all" does what
// `quillar-setup install` does, shown first the same way. Searching, planning and writing run on a pool
// thread, so the window never waits on the disk (and the device cycle, on its own thread, never notices any
// of it); closing the window while a search runs cancels the search.
class SimulatorSetupDialog : public QDialog {
    Q_OBJECT

public:
    // How the installations are found: the engine's own search unless a test gives another. It returns
    // early (with anything) once `cancelled` is set.
    using Search = std::function<QuillarSetup::Discovery(const QuillarSetup::SetupEngine &engine,
                                                         const std::atomic<bool> *cancelled)>;

    // Looks under `home` (the user's home folder in the program; a fake one in tests).
    explicit SimulatorSetupDialog(const QString &home, QWidget *parent = nullptr, Search search = Search());
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
    enum class Action { Install, Repair, Remove, SetUpAll };
    struct Outcome {
        QStringList lines;
        QList<QuillarSetup::Plan> plans; // what a preview found, one per installation; applied by "Apply"
        bool applied = false;
        bool canApply = false;
    };

    // A folder as the table shows it: "~/…" under the home folder.
    QString shortened(const QString &folder) const;

public slots:
    void rescan();
    // Previews what "Set up all" changes; "Apply" then makes the changes.
    void setUpAll();

protected:
    void done(int result) override;

private:
    void showScan();
    void preview(const QList<int> &rows, Action action);
    void apply();
    void showOutcome();
    void setBusy(bool busy);
    void cancelSearch();

    std::unique_ptr<Ui::SimulatorSetupDialog> ui;
    QuillarSetup::SetupEngine engine;
    Search search;
    QList<Row> rows;
    QFutureWatcher<Scan> scanWatcher;
    QFutureWatcher<Outcome> outcomeWatcher;
    // Set to end a running search; each search gets its own, so a new search is never cut off by an old
    // cancellation.
    std::shared_ptr<std::atomic<bool>> searchCancelled;
    // The previewed action, applied by "Apply".
    QList<int> pendingRows;
    Action pendingAction = Action::Install;
    QList<QuillarSetup::Plan> pendingPlans;
    QString pendingTitle;
};
