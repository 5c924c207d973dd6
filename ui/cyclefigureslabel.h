#pragma once

#include <QLabel>

class CycleFigures;
class QTimer;

// The Forces view's header: "cycle 10.0 ms p99 10.6 · telemetry age 14 ms", the device cycle's interval over
// the last 10 s and the telemetry's age at the last report. Refreshed twice a second, only while it is
// visible.
class CycleFiguresLabel : public QLabel {
    Q_OBJECT

public:
    explicit CycleFiguresLabel(const CycleFigures *figures, QWidget *parent = nullptr);

    void refresh();

protected:
    void showEvent(QShowEvent *event) override;
    void hideEvent(QHideEvent *event) override;

private:
    const CycleFigures *figures;
    QTimer *timer;
};
