#include "forcescopeview.h"
#include "ui_forcescopeview.h"

#include "forcescopeplot.h"
#include "telemetryrecorder.h"

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileDialog>
#include <QPainter>
#include <QPixmap>
#include <QTimer>

ForceScopeView::ForceScopeView(QWidget *parent) : QWidget(parent), ui(std::make_unique<Ui::ForceScopeView>()) {
    ui->setupUi(this);
    frameTimer = new QTimer(this);
    frameTimer->setInterval(FrameMs);
    connect(frameTimer, &QTimer::timeout, this, &ForceScopeView::readRing);

    QCheckBox *const boxes[ForceScopePlot::SeriesCount] = {
        ui->roll_force_check,   ui->roll_spring_gain_check,  ui->roll_periodic_check,
        ui->pitch_force_check,  ui->pitch_spring_gain_check, ui->pitch_periodic_check,
        ui->yaw_force_check,    ui->yaw_spring_gain_check,   ui->yaw_periodic_check,
        ui->airspeed_kmh_check, ui->aoa_deg_check,           ui->g_force_check};
    for (int series = 0; series < ForceScopePlot::SeriesCount; ++series) {
        checks[series] = boxes[series];
        // The legend: each entry carries its line's colour.
        QPixmap swatch(14, 4);
        swatch.fill(ForceScopePlot::seriesColor(series));
        checks[series]->setIcon(QIcon(swatch));
        connect(checks[series], &QCheckBox::toggled, this,
                [this, series](bool on) { ui->plot->setSeriesVisible(series, on); });
    }
    connect(ui->pause_button, &QPushButton::toggled, this, &ForceScopeView::setPaused);
    connect(ui->export_button, &QPushButton::clicked, this, &ForceScopeView::exportClicked);
    connect(ui->record_button, &QPushButton::toggled, this, &ForceScopeView::recordToggled);
    connect(&TelemetryRecorder::instance(), &TelemetryRecorder::stopped, this, &ForceScopeView::recordingStopped,
            Qt::QueuedConnection);

    askFileName = [this](const QString &title, const QString &suggestion) {
        return QFileDialog::getSaveFileName(this, title, suggestion);
    };
    // A recording started on the command line shows as one in progress.
    if (TelemetryRecorder::instance().isRecording()) {
        const QSignalBlocker blocker(ui->record_button);
        ui->record_button->setChecked(true);
        ui->record_label->setText(tr("Recording to %1").arg(TelemetryRecorder::instance().path()));
    }
}

ForceScopeView::~ForceScopeView() = default;

void ForceScopeView::setRing(ForceScopeRing *newRing) {
    ring = newRing;
}

ForceScopePlot *ForceScopeView::plot() const {
    return ui->plot;
}

bool ForceScopeView::isReading() const {
    return frameTimer->isActive();
}

bool ForceScopeView::isPaused() const {
    return ui->pause_button->isChecked();
}

void ForceScopeView::setFileNameAsker(FileNameAsker asker) {
    askFileName = std::move(asker);
}

void ForceScopeView::showEvent(QShowEvent *event) {
    QWidget::showEvent(event);
    // What piled up while nobody looked is old news; the plot starts from now.
    if (ring)
        ring->discard();
    if (!isPaused())
        frameTimer->start();
}

void ForceScopeView::hideEvent(QHideEvent *event) {
    QWidget::hideEvent(event);
    frameTimer->stop();
}

void ForceScopeView::setPaused(bool paused) {
    ui->pause_button->setText(paused ? tr("Resume") : tr("Pause"));
    if (paused) {
        frameTimer->stop();
        return;
    }
    if (ring)
        ring->discard();
    if (isVisible())
        frameTimer->start();
}

void ForceScopeView::readRing() {
    if (!ring)
        return;
    ForceScopePlot *target = ui->plot;
    if (ring->drain([target](const ScopeSample &sample) { target->append(sample); }) > 0)
        target->update();
}

bool ForceScopeView::exportCsv(const QString &path, QString *error) const {
    QFile file(path);
    const QByteArray text = ui->plot->csv();
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate) || file.write(text) != text.size()) {
        if (error)
            *error = tr("Cannot write %1: %2").arg(path, file.errorString());
        return false;
    }
    return true;
}

void ForceScopeView::exportClicked() {
    const QString suggestion = QDir::current().filePath(
        QStringLiteral("forces-%1.csv").arg(QDateTime::currentDateTime().toString(QStringLiteral("yyyyMMdd-HHmmss"))));
    const QString path = askFileName(tr("Export CSV"), suggestion);
    if (path.isEmpty())
        return;
    QString error;
    ui->record_label->setText(exportCsv(path, &error) ? tr("Exported %1").arg(path) : error);
}

void ForceScopeView::recordToggled(bool on) {
    TelemetryRecorder &recorder = TelemetryRecorder::instance();
    if (!on) {
        recorder.stop();
        ui->record_label->setText(tr("Recording stopped"));
        return;
    }
    const QString suggestion = QDir::current().filePath(QStringLiteral("telemetry-%1.qrec")
                                                            .arg(QDateTime::currentDateTime().toString(
                                                                QStringLiteral("yyyyMMdd-HHmmss"))));
    const QString path = askFileName(tr("Record telemetry"), suggestion);
    QString error;
    if (path.isEmpty() || !recorder.start(path, &error)) {
        const QSignalBlocker blocker(ui->record_button);
        ui->record_button->setChecked(false);
        ui->record_label->setText(error);
        return;
    }
    ui->record_label->setText(tr("Recording to %1").arg(path));
}

void ForceScopeView::recordingStopped(const QString &message) {
    const QSignalBlocker blocker(ui->record_button);
    ui->record_button->setChecked(false);
    ui->record_label->setText(message);
}
