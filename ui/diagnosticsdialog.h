#pragma once

#include "doctor.h"
#include "report.h"

#include <QDialog>
#include <QFutureWatcher>
#include <QStringList>
#include <functional>

class CycleFigures;
class QLabel;
class QPushButton;
class QTimer;
class QTreeWidget;

// The "Diagnostics" window: the same checks as `quillar-setup doctor`, each with ok / warning / problem and
// what to do; live figures of the running program (records per source in the last 5 s, the device cycle's
// interval, the telemetry's age at the last report, the last failed device write); and "Save support
// bundle…".
class DiagnosticsDialog : public QDialog {
    Q_OBJECT

public:
    struct Sources {
        Diagnostics::DoctorSetting setting;
        const CycleFigures *figures = nullptr;  // none: no live cycle figures
        std::function<QString()> activeProfile; // the active profile's file name
        std::function<QByteArray()> forcesCsv;  // the Forces view's last 10 s; none: left out
        bool includeTelemetry = true;           // the last minute of telemetry as a recording
    };

    explicit DiagnosticsDialog(Sources sources, QWidget *parent = nullptr);
    ~DiagnosticsDialog() override;

    // Runs the checks again (off the GUI thread); `checked` follows.
    void runChecks();
    bool isChecking() const;
    Diagnostics::Report report() const { return lastReport; }
    QTreeWidget *reportView() const { return tree; }

    // The bundle as it would be saved now: its files, for the list the user reads before saving.
    QStringList bundleFileNames() const;
    // Writes the bundle; false with `error` set.
    bool saveBundle(const QString &path, QString *error) const;

    // How "Save support bundle…" asks: first whether to go on, showing the file list, then for the file name.
    // The defaults are a message box and a file dialog; tests answer without them.
    using Confirmer = std::function<bool(const QStringList &files)>;
    using FileNameAsker = std::function<QString(const QString &suggestion)>;
    void setConfirmer(Confirmer confirmer) { confirm = std::move(confirmer); }
    void setFileNameAsker(FileNameAsker asker) { askFileName = std::move(asker); }

    // The live lines as shown, refreshed twice a second.
    QString liveText() const;
    void refreshLive();

signals:
    void checked();
    void bundleSaved(QString path);

private:
    void showReport(const Diagnostics::Report &report);
    void saveBundleClicked();

    Sources sources;
    Diagnostics::Report lastReport;
    QTreeWidget *tree = nullptr;
    QLabel *summary = nullptr;
    QLabel *live = nullptr;
    QPushButton *checkAgain = nullptr;
    QPushButton *saveButton = nullptr;
    QTimer *liveTimer = nullptr;
    QFutureWatcher<Diagnostics::Report> watcher;
    Confirmer confirm;
    FileNameAsker askFileName;
};
