#include "cyclefigureslabel.h"

#include "livefigures.h"

#include <QTimer>

CycleFiguresLabel::CycleFiguresLabel(const CycleFigures *figures, QWidget *parent)
    : QLabel(parent), figures(figures), timer(new QTimer(this)) {
    setObjectName(QStringLiteral("cycle_figures_label"));
    setTextInteractionFlags(Qt::TextSelectableByMouse);
    setToolTip(
        tr("The device cycle's interval over the last 10 s (median and 99th percentile), and how old the "
           "telemetry was when the last force report went to the device"));
    connect(timer, &QTimer::timeout, this, &CycleFiguresLabel::refresh);
    refresh();
}

void CycleFiguresLabel::refresh() {
    setText(figures ? cycleFiguresLine(*figures, steadyClockNs()) : QString());
}

void CycleFiguresLabel::showEvent(QShowEvent *event) {
    QLabel::showEvent(event);
    refresh();
    timer->start(500);
}

void CycleFiguresLabel::hideEvent(QHideEvent *event) {
    QLabel::hideEvent(event);
    timer->stop();
}
