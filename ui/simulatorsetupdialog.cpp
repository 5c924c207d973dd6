#include "simulatorsetupdialog.h"
#include "ui_simulatorsetupdialog.h"

#include <QHBoxLayout>
#include <QHeaderView>
#include <QPushButton>
#include <QtConcurrent/QtConcurrentRun>

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

} // namespace

SimulatorSetupDialog::SimulatorSetupDialog(const QString &home, QWidget *parent)
    : QDialog(parent), ui(std::make_unique<Ui::SimulatorSetupDialog>()),
      engine(home, dcsScriptFromResource()) {
    ui->setupUi(this);
    ui->installations_table->horizontalHeader()->setSectionResizeMode(0, QHeaderView::ResizeToContents);
    ui->installations_table->horizontalHeader()->setSectionResizeMode(1, QHeaderView::ResizeToContents);
    ui->installations_table->horizontalHeader()->setSectionResizeMode(2, QHeaderView::Stretch);
    ui->installations_table->horizontalHeader()->setSectionResizeMode(3, QHeaderView::ResizeToContents);
    connect(ui->rescan_button, &QPushButton::clicked, this, &SimulatorSetupDialog::rescan);
    connect(ui->apply_button, &QPushButton::clicked, this, &SimulatorSetupDialog::apply);
    connect(ui->close_button, &QPushButton::clicked, this, &QDialog::reject);
    connect(&scanWatcher, &QFutureWatcher<Scan>::finished, this, &SimulatorSetupDialog::showScan);
    connect(&outcomeWatcher, &QFutureWatcher<Outcome>::finished, this, &SimulatorSetupDialog::showOutcome);
    rescan();
}

SimulatorSetupDialog::~SimulatorSetupDialog() {
    // The pool thread holds copies only; waiting keeps a change from being cut off half-way at close.
    scanWatcher.waitForFinished();
    outcomeWatcher.waitForFinished();
}

bool SimulatorSetupDialog::isBusy() const {
    return scanWatcher.isRunning() || outcomeWatcher.isRunning();
}

void SimulatorSetupDialog::setBusy(bool busy) {
    ui->rescan_button->setEnabled(!busy);
    ui->installations_table->setEnabled(!busy);
    if (busy) {
        ui->apply_button->setEnabled(false);
    }
}

void SimulatorSetupDialog::rescan() {
    if (isBusy()) {
        return;
    }
    setBusy(true);
    ui->found_label->setText(tr("Searching for simulators…"));
    const SetupEngine copy = engine;
    scanWatcher.setFuture(QtConcurrent::run([copy] {
        Scan scan;
        const Discovery discovery = copy.discover();
        scan.notes = discovery.notes;
        for (const Installation &installation : discovery.installations) {
            scan.rows.append(Row{installation, copy.assess(installation)});
        }
        return scan;
    }));
}

void SimulatorSetupDialog::showScan() {
    const Scan scan = scanWatcher.result();
    rows = scan.rows;
    QTableWidget *table = ui->installations_table;
    table->clearContents();
    table->setRowCount(rows.size());
    for (int i = 0; i < rows.size(); ++i) {
        const Row &row = rows.at(i);
        QString name = simulatorName(row.installation.simulator);
        if (!row.installation.variant.isEmpty()) {
            name += QStringLiteral(" (%1)").arg(row.installation.variant);
        }
        auto *nameItem = new QTableWidgetItem(name);
        nameItem->setToolTip(row.installation.foundIn);
        table->setItem(i, 0, nameItem);
        auto *stateItem = new QTableWidgetItem(stateText(row.assessment.state));
        stateItem->setToolTip(row.assessment.problems.join(QLatin1Char('\n')));
        table->setItem(i, 1, stateItem);
        auto *folderItem = new QTableWidgetItem(row.installation.folder);
        folderItem->setToolTip(row.installation.folder);
        table->setItem(i, 2, folderItem);

        QList<Action> actions;
        switch (row.assessment.state) {
        case State::NotSetUp:
            actions = {Action::Install};
            break;
        case State::NeedsRepair:
            actions = {Action::Repair, Action::Remove};
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
            connect(button, &QPushButton::clicked, this, [this, i, action] { preview(i, action); });
            layout->addWidget(button);
        }
        layout->addStretch();
        table->setCellWidget(i, 3, cell);
    }
    table->resizeRowsToContents();
    QString found = rows.isEmpty()
                        ? tr("No simulator was found in %1.").arg(engine.home())
                        : tr("%n installation(s) found in %1.", nullptr, rows.size()).arg(engine.home());
    for (const QString &note : scan.notes) {
        found += QLatin1Char('\n') + note;
    }
    ui->found_label->setText(found);
    setBusy(false);
}

void SimulatorSetupDialog::preview(int row, Action action) {
    if (isBusy() || row < 0 || row >= rows.size()) {
        return;
    }
    setBusy(true);
    pendingRow = row;
    pendingAction = action;
    const Installation installation = rows.at(row).installation;
    pendingTitle = QStringLiteral("%1 %2 in %3")
                       .arg(actionName(action), simulatorName(installation.simulator), installation.folder);
    ui->changes_view->setPlainText(tr("%1: looking at the files…").arg(pendingTitle));
    const SetupEngine copy = engine;
    outcomeWatcher.setFuture(QtConcurrent::run([copy, installation, action] {
        Outcome outcome;
        outcome.plan = planFor(copy, installation, action);
        outcome.lines = applyPlan(outcome.plan, true).lines;
        return outcome;
    }));
}

void SimulatorSetupDialog::apply() {
    if (isBusy() || pendingRow < 0 || pendingRow >= rows.size()) {
        return;
    }
    setBusy(true);
    const Installation installation = rows.at(pendingRow).installation;
    const Action action = pendingAction;
    const Plan shown = pendingPlan;
    const SetupEngine copy = engine;
    outcomeWatcher.setFuture(QtConcurrent::run([copy, installation, action, shown] {
        Outcome outcome;
        outcome.plan = planFor(copy, installation, action);
        // A file changed since the preview would get changes nobody saw: show the new preview instead.
        if (!sameEdits(outcome.plan, shown)) {
            outcome.lines = applyPlan(outcome.plan, true).lines;
            return outcome;
        }
        outcome.lines = applyPlan(outcome.plan, false).lines;
        outcome.applied = true;
        return outcome;
    }));
}

void SimulatorSetupDialog::showOutcome() {
    const Outcome outcome = outcomeWatcher.result();
    setBusy(false);
    if (outcome.applied) {
        ui->changes_view->setPlainText(
            tr("%1: done.\n%2").arg(pendingTitle, outcome.lines.join(QLatin1Char('\n'))));
        pendingRow = -1;
        ui->apply_button->setText(tr("Apply"));
        ui->apply_button->setEnabled(false);
        rescan();
        return;
    }
    pendingPlan = outcome.plan;
    const bool canApply = !outcome.plan.edits.isEmpty() && outcome.plan.problems.isEmpty();
    ui->changes_view->setPlainText(
        tr("%1 will change this:\n%2%3")
            .arg(pendingTitle, outcome.lines.join(QLatin1Char('\n')),
                 canApply ? tr("\n\nPress \"%1\" to make these changes.").arg(actionName(pendingAction))
                          : QString()));
    ui->apply_button->setText(actionName(pendingAction));
    ui->apply_button->setEnabled(canApply);
}

// Compiled here, like the main window's, so only what opens the dialog links the set-up engine.
#include "moc_simulatorsetupdialog.cpp"
