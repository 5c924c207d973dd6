#include "diagnosticsdialog.h"

#include "cyclefigures.h"
#include "livefigures.h"
#include "supportbundle.h"
#include "telemetryring.h"

#include <QDateTime>
#include <QDialogButtonBox>
#include <QDir>
#include <QFileDialog>
#include <QGroupBox>
#include <QHeaderView>
#include <QLabel>
#include <QMessageBox>
#include <QPushButton>
#include <QTimer>
#include <QTreeWidget>
#include <QVBoxLayout>
#include <QtConcurrent>

using namespace Diagnostics;

namespace {

constexpr int64_t FiveSecondsNs = int64_t(5) * 1000 * 1000 * 1000;

QColor verdictColour(Verdict verdict) {
    switch (verdict) {
    case Verdict::Ok:
        return QColor(0x2e, 0x7d, 0x32);
    case Verdict::Warning:
        return QColor(0xb2, 0x6a, 0x00);
    case Verdict::Problem:
        return QColor(0xc6, 0x28, 0x28);
    }
    return {};
}

// The sources as the live figures name them, in their Telemetry::Source order.
const char *const SourceNames[] = {"", "MSFS", "DCS", "IL-2", "War Thunder", "Condor 2", "X-Plane"};

} // namespace

DiagnosticsDialog::DiagnosticsDialog(Sources given, QWidget *parent)
    : QDialog(parent), sources(std::move(given)) {
    setWindowTitle(tr("Diagnostics"));
    auto *layout = new QVBoxLayout(this);

    summary = new QLabel(this);
    summary->setObjectName(QStringLiteral("summary_label"));
    layout->addWidget(summary);

    tree = new QTreeWidget(this);
    tree->setObjectName(QStringLiteral("report_view"));
    tree->setColumnCount(3);
    tree->setHeaderLabels({tr("Check"), tr("Result"), tr("Details and what to do")});
    tree->setRootIsDecorated(false);
    tree->setWordWrap(true);
    tree->setAlternatingRowColors(true);
    tree->header()->setStretchLastSection(true);
    layout->addWidget(tree, 1);

    auto *liveBox = new QGroupBox(tr("Live"), this);
    auto *liveLayout = new QVBoxLayout(liveBox);
    live = new QLabel(liveBox);
    live->setObjectName(QStringLiteral("live_label"));
    live->setTextInteractionFlags(Qt::TextSelectableByMouse);
    liveLayout->addWidget(live);
    layout->addWidget(liveBox);

    auto *buttons = new QDialogButtonBox(this);
    checkAgain = buttons->addButton(tr("Check again"), QDialogButtonBox::ActionRole);
    checkAgain->setObjectName(QStringLiteral("check_again_button"));
    saveButton = buttons->addButton(tr("Save support bundle…"), QDialogButtonBox::ActionRole);
    saveButton->setObjectName(QStringLiteral("save_bundle_button"));
    buttons->addButton(QDialogButtonBox::Close);
    layout->addWidget(buttons);
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
    connect(checkAgain, &QPushButton::clicked, this, &DiagnosticsDialog::runChecks);
    connect(saveButton, &QPushButton::clicked, this, &DiagnosticsDialog::saveBundleClicked);

    confirm = [this](const QStringList &files) {
        QMessageBox box(QMessageBox::Question, tr("Save support bundle"),
                        tr("The support bundle holds these files. Your home folder is written as ~ in them."),
                        QMessageBox::Save | QMessageBox::Cancel, this);
        box.setDetailedText(files.join(QLatin1Char('\n')));
        box.setInformativeText(files.join(QLatin1Char('\n')));
        return box.exec() == QMessageBox::Save;
    };
    askFileName = [this](const QString &suggestion) {
        return QFileDialog::getSaveFileName(this, tr("Save support bundle"), suggestion,
                                            tr("Archives (*.tar.gz *.zip)"));
    };

    connect(&watcher, &QFutureWatcher<Report>::finished, this, [this] {
        showReport(watcher.result());
        checkAgain->setEnabled(true);
        emit checked();
    });

    liveTimer = new QTimer(this);
    connect(liveTimer, &QTimer::timeout, this, &DiagnosticsDialog::refreshLive);
    liveTimer->start(500);
    refreshLive();

    resize(900, 600);
    runChecks();
}

DiagnosticsDialog::~DiagnosticsDialog() {
    // A run still going reads what the caller handed in (a system view, the settings), so it is waited for: at
    // most the few seconds of probes that the doctor allows.
    watcher.disconnect(this);
    watcher.waitForFinished();
}

void DiagnosticsDialog::runChecks() {
    if (watcher.isRunning())
        return;
    checkAgain->setEnabled(false);
    summary->setText(tr("Checking… (each simulator is given a second to answer)"));
    const DoctorSetting setting = sources.setting;
    watcher.setFuture(QtConcurrent::run([setting] { return Diagnostics::runChecks(setting); }));
}

bool DiagnosticsDialog::isChecking() const {
    return watcher.isRunning();
}

void DiagnosticsDialog::showReport(const Report &report) {
    lastReport = report;
    tree->clear();
    QString group;
    for (const Check &check : report.checks) {
        if (check.group != group) {
            group = check.group;
            auto *heading = new QTreeWidgetItem(tree, {group});
            QFont bold = heading->font(0);
            bold.setBold(true);
            heading->setFont(0, bold);
            heading->setFirstColumnSpanned(true);
        }
        QString text = check.detail;
        if (!check.advice.isEmpty())
            text += QStringLiteral("\n") + tr("What to do: ") + check.advice;
        auto *item = new QTreeWidgetItem(tree, {check.name, verdictWord(check.verdict), text});
        item->setForeground(1, verdictColour(check.verdict));
        QFont bold = item->font(1);
        bold.setBold(true);
        item->setFont(1, bold);
        item->setToolTip(2, text);
    }
    tree->resizeColumnToContents(0);
    tree->resizeColumnToContents(1);
    const int problems = report.count(Verdict::Problem);
    const int warnings = report.count(Verdict::Warning);
    if (problems > 0)
        summary->setText(problems == 1 ? tr("1 problem found, see below.")
                                       : tr("%1 problems found, see below.").arg(problems));
    else if (warnings > 0)
        summary->setText(warnings == 1 ? tr("No problem found; 1 warning.")
                                       : tr("No problem found; %1 warnings.").arg(warnings));
    else
        summary->setText(tr("No problem found."));
}

QString DiagnosticsDialog::liveText() const {
    return live->text();
}

void DiagnosticsDialog::refreshLive() {
    const int64_t now = steadyClockNs();
    QStringList lines;
    const TelemetryRing &ring = TelemetryRing::instance();
    if (ring.isEnabled()) {
        const auto counts = ring.countsSince(TelemetryRing::steadyNs(), FiveSecondsNs);
        QStringList perSource;
        for (int source = 1; source < Telemetry::SourceCount; ++source)
            perSource << QStringLiteral("%1 %2").arg(QLatin1String(SourceNames[source])).arg(counts[source]);
        lines << tr("Records received in the last 5 s: %1").arg(perSource.join(QStringLiteral(", ")));
    }
    if (sources.figures) {
        lines << tr("Device cycle (last 10 s): %1").arg(cycleFiguresLine(*sources.figures, now));
        const std::string error = sources.figures->lastWriteError();
        lines << tr("Last device write error: %1")
                     .arg(error.empty() ? tr("none")
                                        : QStringLiteral("%1 (%2 so far)")
                                              .arg(QString::fromStdString(error))
                                              .arg(sources.figures->writeErrors()));
    }
    if (lines.isEmpty())
        lines << tr("No live figures: the program's device cycle is not running here.");
    live->setText(lines.join(QLatin1Char('\n')));
}

QStringList DiagnosticsDialog::bundleFileNames() const {
    // The same parts in the same order as saveBundle, without their content.
    SupportBundle bundle(sources.setting.home);
    BundleSources parts;
    parts.home = sources.setting.home;
    parts.logFolder = sources.setting.logFolder();
    parts.profileFolder = QDir(sources.setting.workingFolder).filePath(QStringLiteral("effect_profiles"));
    parts.activeProfile = sources.activeProfile ? sources.activeProfile() : QString();
    parts.settingsFiles = sources.setting.settingsFiles();
    parts.settingsFiles.removeDuplicates();
    addCommonParts(bundle, parts);
    QStringList names = bundle.fileNames();
    if (sources.includeTelemetry && TelemetryRing::instance().isEnabled())
        names << QStringLiteral("telemetry-last-60s.qrec");
    if (sources.forcesCsv)
        names << QStringLiteral("forces-last-10s.csv");
    return names;
}

bool DiagnosticsDialog::saveBundle(const QString &path, QString *error) const {
    const DoctorSetting &setting = sources.setting;
    SupportBundle bundle(setting.home);
    BundleSources parts;
    parts.home = setting.home;
    parts.versions = versionsText(QStringLiteral("quillar"));
    parts.report = lastReport.checks.isEmpty() ? tr("(the checks had not finished)\n") : lastReport.text();
    parts.setupStatus = setupStatusText(setting);
    parts.logFolder = setting.logFolder();
    parts.profileFolder = QDir(setting.workingFolder).filePath(QStringLiteral("effect_profiles"));
    parts.activeProfile = sources.activeProfile ? sources.activeProfile() : QString();
    parts.settingsFiles = setting.settingsFiles();
    parts.settingsFiles.removeDuplicates();
    addCommonParts(bundle, parts);
    if (sources.includeTelemetry && TelemetryRing::instance().isEnabled())
        bundle.addBinary(QStringLiteral("telemetry-last-60s.qrec"), TelemetryRing::instance().recording());
    if (sources.forcesCsv)
        bundle.addText(QStringLiteral("forces-last-10s.csv"), sources.forcesCsv());
    return bundle.write(path, error);
}

void DiagnosticsDialog::saveBundleClicked() {
    const QStringList files = bundleFileNames();
    if (!confirm(files))
        return;
    const QString suggestion =
        QDir(sources.setting.home)
            .filePath(QStringLiteral("quillar-support-%1.tar.gz")
                          .arg(QDateTime::currentDateTime().toString(QStringLiteral("yyyyMMdd-HHmm"))));
    const QString path = askFileName(suggestion);
    if (path.isEmpty())
        return;
    QString error;
    if (!saveBundle(path, &error)) {
        QMessageBox::warning(this, tr("Save support bundle"), error);
        return;
    }
    emit bundleSaved(path);
}
