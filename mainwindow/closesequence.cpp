#include "mainwindow/vmainwidget.h"

#include <QCloseEvent>
#include <QTimer>

#include <chrono>
#include <cmath>

using namespace std::chrono_literals;

// Instead of vanishing, the window is swept away counter-clockwise from three o'clock: 17 wedges in 850 ms,
// then it closes with a sliver of 10 degrees left.

void VMainWidget::closeEvent(QCloseEvent* event)
{
    event->setAccepted(signalClose);
    if (!signalClose && !scanInProgress && !updateInProgress)
        beforeShutdownEffect();
}

void VMainWidget::beforeShutdownEffect()
{
    if (!settleSettings())
        return;
    tmrCloseEffect->start(50ms);
    tmrClose->setSingleShot(true);
    tmrClose->start(880ms);
    signalClose = true;
}

void VMainWidget::calculateRegion()
{
    constexpr int fullCircle = 360, growth = 20;
    if (sweepAngle >= fullCircle)
        return;
    const QPoint centre(width() / 2, height() / 2);
    const int diameter = static_cast<int>(std::hypot(width(), height()));
    QPolygon wedge =
        makeArc(centre.x() - diameter / 2, centre.y() - diameter / 2, diameter, diameter, 0, sweepAngle * 16);
    wedge << centre;
    sweepAngle += growth;
    rgnVisible -= QRegion(wedge, Qt::OddEvenFill);
    // An empty region would take the mask away and show the whole window again.
    if (rgnVisible.isEmpty())
        return;
    setMask(rgnVisible);
    repaint();
}
