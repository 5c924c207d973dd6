#pragma once

#include "forcescope.h"

#include <QWidget>
#include <functional>
#include <memory>

namespace Ui {
class ForceScopeView;
}

class ForceScopePlot;
class QCheckBox;
class QTimer;

// The "Forces" view: plots what the device cycle computed over the last ten seconds, with a legend whose
// entries switch series on and off, pause and resume, CSV export of what is on screen, and the Record button.
// It reads the worker's ring on a timer, and only while it is visible: hidden, it reads nothing and wakes for
// nothing.
class ForceScopeView : public QWidget {
    Q_OBJECT

public:
    static constexpr int FrameMs = 33; // about the pace of a screen; more would only burn the GUI thread

    explicit ForceScopeView(QWidget *parent = nullptr);
    ~ForceScopeView() override;

    // The ring the worker fills; it must outlive the view.
    void setRing(ForceScopeRing *ring);

    ForceScopePlot *plot() const;
    bool isReading() const;
    bool isPaused() const;

    // Writes the CSV of what is on screen; false with `error` set when the file cannot be written.
    bool exportCsv(const QString &path, QString *error = nullptr) const;

    // How the buttons ask for a file name; the default is a file dialog. Tests answer without one.
    using FileNameAsker = std::function<QString(const QString &title, const QString &suggestion)>;
    void setFileNameAsker(FileNameAsker asker);

    // Takes what the worker wrote since the last look into the plot; the timer calls it.
    void readRing();

protected:
    void showEvent(QShowEvent *event) override;
    void hideEvent(QHideEvent *event) override;

private:
    void setPaused(bool paused);
    void exportClicked();
    void recordToggled(bool on);
    void recordingStopped(const QString &message);

    std::unique_ptr<Ui::ForceScopeView> ui;
    ForceScopeRing *ring = nullptr;
    QTimer *frameTimer = nullptr;
    QCheckBox *checks[12] = {};
    FileNameAsker askFileName;
};
