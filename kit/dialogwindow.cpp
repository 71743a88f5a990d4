#include "kit/dialogwindow.h"

#include "kit/backgrounds.h"
#include "kit/builders.h"
#include "kit/vpushbutton.h"

#include <QLabel>

DialogWindow::DialogWindow(QWidget* parent, const char* name, bool modal, Qt::WindowFlags flags, bool outline)
    : RoundedWindow<QDialog>(background::dialog, outline, parent, flags)
{
    setObjectName(QLatin1StringView(name));
    setModal(modal);
}

void DialogWindow::setShape(QSize size, int xRnd, int yRnd)
{
    setFixedSize(size);
    makeWidgetRound(xRnd, yRnd);
}

void DialogWindow::buildHeader(const char* logo, int titleWidth)
{
    lblLogo = build::logo(this, logo);
    lblLogo->move(9, 7);
    lblTitle = build::heading(this, "lblTitle");
    lblTitle->setGeometry(66, 19, titleWidth, 32);
    btnClose = build::closeButton(this);
    btnClose->move(width() - 30, 7);
    connect(btnClose, &VPushButton::clicked, this, &DialogWindow::close);
}
