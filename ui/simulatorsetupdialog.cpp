#include "simulatorsetupdialog.h"
#include "ui_simulatorsetupdialog.h"

#include <QHBoxLayout>
#include <QHeaderView>
#include <QPushButton>
#include <QtConcurrent/QtConcurrentRun>
#include <algorithm>

using namespace QuillarSetup;

namespace {

QString actionName(SimulatorSetupDialog::Action action) {
    switch (action) {
    case SimulatorSetupDialog::Action::Install:
        return QStringLiteral("Install");
    case SimulatorSetupDialog::Action::Repair:
        return QStringLiteral("Repair");
    case SimulatorSetupDialog::Action::Remove:
        return QStringLiteral("Remove");
    case SimulatorSetupDialog::Action::SetUpAll:
        return QStringLiteral("Set up all");
    }
    return QString();
}

bool sameEdits(const Plan &a, const Plan &b) {
    if (a.edits.size() != b.edits.size() || a.problems != b.problems) {
        return false;
    }
    for (int i = 0; i < a.edits.size(); ++i) {
        const FileEdit &x = a.edits.at(i);
        const FileEdit &y = b.edits.at(i);
        if (x.kind != y.kind || x.path != y.path || x.bytes != y.bytes) {
            return false;
        }
    }
    return true;
}

Plan planFor(const SetupEngine &engine, const Installation &installation,
             SimulatorSetupDialog::Action action) {
    if (action == SimulatorSetupDialog::Action::Remove) {
        return engine.planRemove(installation, engine.discover().installations);
    }
    return engine.planInstall(installation);
}

bool applicable(const Plan &plan) {
    return !plan.edits.isEmpty() && plan.problems.isEmpty();
}

QString displayName(const Installation &installation) {
    QString name = simulatorName(installation.simulator);
    if (!installation.variant.isEmpty()) {
        name += QStringLiteral(" (%1)").arg(installation.variant);
    }
    return name;
}

// A folder (or a text that starts with one) with the home folder written "~".
QString underHome(const QString &home, const QString &text) {
    if (text.startsWith(home + QLatin1Char('/'))) {
        return QStringLiteral("~") + text.mid(home.size());
    }
    return text;
}

} // namespace

SimulatorSetupDialog::SimulatorSetupDialog(const QString &home, QWidget *parent, Search search)
    : QDialog(parent), ui(std::make_unique<Ui::SimulatorSetupDialog>()),
      engine(home, dcsScriptFromResource(), SetupEngine::dataHomeFromEnvironment()),
      search(std::move(search)) {
    if (!this->search) {
        this->search = [](const SetupEngine &engine, const std::atomic<bool> *cancelled) {
            return engine.discover(cancelled);
        };
    }
    ui->setupUi(this);
    ui->installations_table->horizontalHeader()->setSectionResizeMode(0, QHeaderView::ResizeToContents);
    ui->installations_table->horizontalHeader()->setSectionResizeMode(1, QHeaderView::ResizeToContents);
    ui->installations_table->horizontalHeader()->setSectionResizeMode(2, QHeaderView::Stretch);
    ui->installations_table->horizontalHeader()->setSectionResizeMode(3, QHeaderView::ResizeToContents);
    connect(ui->rescan_button, &QPushButton::clicked, this, &SimulatorSetupDialog::rescan);
    connect(ui->setup_all_button, &QPushButton::clicked, this, &SimulatorSetupDialog::setUpAll);
    connect(ui->apply_button, &QPushButton::clicked, this, &SimulatorSetupDialog::apply);
    connect(ui->close_button, &QPushButton::clicked, this, &QDialog::reject);
    connect(&scanWatcher, &QFutureWatcher<Scan>::finished, this, &SimulatorSetupDialog::showScan);
    connect(&outcomeWatcher, &QFutureWatcher<Outcome>::finished, this, &SimulatorSetupDialog::showOutcome);
    rescan();
}

SimulatorSetupDialog::~SimulatorSetupDialog() {
    // A search is cut short; a change is let finish, so no file is left half-way (writes are short).
    cancelSearch();
    scanWatcher.waitForFinished();
    outcomeWatcher.waitForFinished();
}

void SimulatorSetupDialog::cancelSearch() {
    if (searchCancelled) {
        searchCancelled->store(true);
    }
}

void SimulatorSetupDialog::done(int result) {
    cancelSearch();
    QDialog::done(result);
}

QString SimulatorSetupDialog::shortened(const QString &folder) const {
    return underHome(engine.home(), folder);
}

bool SimulatorSetupDialog::isBusy() const {
    return scanWatcher.isRunning() || outcomeWatcher.isRunning();
}

void SimulatorSetupDialog::setBusy(bool busy) {
    ui->rescan_button->setEnabled(!busy);
    ui->installations_table->setEnabled(!busy);
    if (busy) {
        ui->apply_button->setEnabled(false);
        ui->setup_all_button->setEnabled(false);
    }
}

void SimulatorSetupDialog::rescan() {
    if (isBusy()) {
        return;
    }
    setBusy(true);
    ui->found_label->setText(tr("Searching for simulators…"));
    const SetupEngine copy = engine;
    const Search find = search;
    searchCancelled = std::make_shared<std::atomic<bool>>(false);
    const std::shared_ptr<std::atomic<bool>> cancelled = searchCancelled;
    scanWatcher.setFuture(QtConcurrent::run([copy, find, cancelled] {
        Scan scan;
        const Discovery discovery = find(copy, cancelled.get());
        scan.notes = discovery.notes;
        for (const Installation &installation : discovery.installations) {
            if (cancelled->load()) {
                break;
            }
            scan.rows.append(Row{installation, copy.assess(installation)});
        }
        return scan;
    }));
}

void SimulatorSetupDialog::showScan() {
    const Scan scan = scanWatcher.result();
    if (searchCancelled && searchCancelled->load()) {
        ui->found_label->setText(tr("The search was stopped."));
        setBusy(false);
        return;
    }
    rows = scan.rows;
    QTableWidget *table = ui->installations_table;
    table->clearContents();
    table->setRowCount(rows.size());
    QStringList problems = scan.notes;
    bool anyToSetUp = false;
    for (int i = 0; i < rows.size(); ++i) {
        const Row &row = rows.at(i);
        auto *nameItem = new QTableWidgetItem(displayName(row.installation));
        nameItem->setToolTip(row.installation.foundIn);
        table->setItem(i, 0, nameItem);
        auto *stateItem = new QTableWidgetItem(stateText(row.assessment.state));
        stateItem->setToolTip(row.assessment.problems.join(QLatin1Char('\n')));
        table->setItem(i, 1, stateItem);
        auto *folderItem = new QTableWidgetItem(shortened(row.installation.folder));
        folderItem->setToolTip(row.installation.folder);
        table->setItem(i, 2, folderItem);
        for (const QString &problem : row.assessment.problems) {
            problems.append(QStringLiteral("%1: %2").arg(displayName(row.installation), problem));
        }

        QList<Action> actions;
        switch (row.assessment.state) {
        case State::NotSetUp:
            actions = {Action::Install};
            anyToSetUp = true;
            break;
        case State::NeedsRepair:
            actions = {Action::Repair, Action::Remove};
            anyToSetUp = true;
            break;
        case State::Ready:
            actions = {Action::Remove};
            break;
        case State::NothingToSetUp:
            break;
        }
        auto *cell = new QWidget(table);
        auto *layout = new QHBoxLayout(cell);
        layout->setContentsMargins(2, 0, 2, 0);
        for (Action action : actions) {
            auto *button = new QPushButton(actionName(action), cell);
            button->setObjectName(QStringLiteral("%1_button_%2").arg(actionName(action).toLower()).arg(i));
            connect(button, &QPushButton::clicked, this, [this, i, action] { preview({i}, action); });
            layout->addWidget(button);
        }
        layout->addStretch();
        table->setCellWidget(i, 3, cell);
    }
    table->resizeRowsToContents();
    ui->found_label->setText(
        rows.isEmpty() ? tr("No simulator was found in %1.").arg(engine.home())
                       : tr("%n installation(s) found in %1.", nullptr, rows.size()).arg(engine.home()));
    // Every problem in sight, not only in a tooltip: a file that cannot be read, a library not searched.
    for (QString &problem : problems) {
        problem.replace(engine.home() + QLatin1Char('/'), QStringLiteral("~/"));
    }
    ui->problems_label->setText(problems.join(QLatin1Char('\n')));
    ui->problems_label->setVisible(!problems.isEmpty());
    setBusy(false);
    ui->setup_all_button->setEnabled(anyToSetUp);
}

void SimulatorSetupDialog::setUpAll() {
    QList<int> all;
    for (int i = 0; i < rows.size(); ++i) {
        const State state = rows.at(i).assessment.state;
        if (state == State::NotSetUp || state == State::NeedsRepair) {
            all.append(i);
        }
    }
    if (!all.isEmpty()) {
        preview(all, Action::SetUpAll);
    }
}

void SimulatorSetupDialog::preview(const QList<int> &chosen, Action action) {
    if (isBusy() || chosen.isEmpty()) {
        return;
    }
    QList<Installation> installations;
    for (int row : chosen) {
        if (row < 0 || row >= rows.size()) {
            return;
        }
        installations.append(rows.at(row).installation);
    }
    setBusy(true);
    pendingRows = chosen;
    pendingAction = action;
    pendingTitle = action == Action::SetUpAll
                       ? tr("Set up all")
                       : QStringLiteral("%1 %2 in %3")
                             .arg(actionName(action), simulatorName(installations.first().simulator),
                                  installations.first().folder);
    ui->changes_view->setPlainText(tr("%1: looking at the files…").arg(pendingTitle));
    const SetupEngine copy = engine;
    const bool all = action == Action::SetUpAll;
    outcomeWatcher.setFuture(QtConcurrent::run([copy, installations, action, all] {
        const QString home = copy.home();
        Outcome outcome;
        for (const Installation &installation : installations) {
            const Plan plan = planFor(copy, installation, action);
            outcome.plans.append(plan);
            outcome.canApply = outcome.canApply || applicable(plan);
            const QStringList lines = applyPlan(plan, true).lines;
            if (!all) {
                outcome.lines += lines;
                continue;
            }
            outcome.lines.append(QStringLiteral("%1 in %2:")
                                     .arg(displayName(installation), underHome(home, installation.folder)));
            for (QString line : lines) {
                outcome.lines.append(QStringLiteral("  ") +
                                     line.replace(home + QLatin1Char('/'), QStringLiteral("~/")));
            }
        }
        // One installation that cannot be changed leaves Apply off for it; "Set up all" does the others.
        if (!all && !outcome.plans.isEmpty() && !outcome.plans.first().problems.isEmpty()) {
            outcome.canApply = false;
        }
        return outcome;
    }));
}

void SimulatorSetupDialog::apply() {
    if (isBusy() || pendingRows.isEmpty()) {
        return;
    }
    QList<Installation> installations;
    for (int row : pendingRows) {
        if (row < 0 || row >= rows.size()) {
            return;
        }
        installations.append(rows.at(row).installation);
    }
    setBusy(true);
    const Action action = pendingAction;
    const QList<Plan> shown = pendingPlans;
    const SetupEngine copy = engine;
    const bool all = action == Action::SetUpAll;
    outcomeWatcher.setFuture(QtConcurrent::run([copy, installations, action, shown, all] {
        const QString home = copy.home();
        Outcome outcome;
        for (const Installation &installation : installations) {
            outcome.plans.append(planFor(copy, installation, action));
        }
        // A file changed since the preview would get changes nobody saw: show the new preview instead.
        bool same = shown.size() == outcome.plans.size();
        for (int i = 0; same && i < shown.size(); ++i) {
            same = sameEdits(outcome.plans.at(i), shown.at(i));
        }
        for (int i = 0; i < installations.size(); ++i) {
            const Plan &plan = outcome.plans.at(i);
            outcome.canApply = outcome.canApply || applicable(plan);
            // Only what can be done is done: an installation with a problem is left as it is.
            const QStringList lines =
                same && applicable(plan) ? applyPlan(plan, false).lines : applyPlan(plan, true).lines;
            if (all) {
                outcome.lines.append(
                    QStringLiteral("%1 in %2:")
                        .arg(displayName(installations.at(i)), underHome(home, installations.at(i).folder)));
                for (QString line : lines) {
                    outcome.lines.append(QStringLiteral("  ") +
                                         line.replace(home + QLatin1Char('/'), QStringLiteral("~/")));
                }
            } else {
                outcome.lines += lines;
            }
        }
        outcome.applied = same;
        return outcome;
    }));
}

void SimulatorSetupDialog::showOutcome() {
    const Outcome outcome = outcomeWatcher.result();
    setBusy(false);
    const QString actionText =
        pendingAction == Action::SetUpAll ? tr("Set up all") : actionName(pendingAction);
    if (outcome.applied) {
        ui->changes_view->setPlainText(
            tr("%1: done.\n%2").arg(pendingTitle, outcome.lines.join(QLatin1Char('\n'))));
        pendingRows.clear();
        pendingPlans.clear();
        ui->apply_button->setText(tr("Apply"));
        ui->apply_button->setEnabled(false);
        rescan();
        return;
    }
    pendingPlans = outcome.plans;
    const bool problems = std::any_of(outcome.plans.begin(), outcome.plans.end(),
                                      [](const Plan &plan) { return !plan.problems.isEmpty(); });
    QString text;
    if (!outcome.canApply && problems) {
        text = tr("%1 cannot be done:\n%2").arg(pendingTitle, outcome.lines.join(QLatin1Char('\n')));
    } else {
        text = tr("%1 will change this:\n%2").arg(pendingTitle, outcome.lines.join(QLatin1Char('\n')));
        if (outcome.canApply) {
            text += tr("\n\nPress \"%1\" to make these changes.").arg(actionText);
            if (problems) {
                text += tr(" What cannot be changed is left as it is.");
            }
        }
    }
    ui->changes_view->setPlainText(text);
    ui->apply_button->setText(actionText);
    ui->apply_button->setEnabled(outcome.canApply);
    ui->setup_all_button->setEnabled(std::any_of(rows.begin(), rows.end(), [](const Row &row) {
        return row.assessment.state == State::NotSetUp || row.assessment.state == State::NeedsRepair;
    }));
}

// Compiled here, like the main window's, so only what opens the dialog links the set-up engine.
#include "moc_simulatorsetupdialog.cpp"
