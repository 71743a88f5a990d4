#include "kit/vcheckbox.h"

#include "kit/indicator.h"

#include <QPainter>

VCheckBox::VCheckBox(QWidget* parent, const char* name)
    : QCheckBox(parent)
{
    setObjectName(QLatin1StringView(name));
    setMouseTracking(true);
    setAttribute(Qt::WA_Hover);
}

QSize VCheckBox::sizeHint() const
{
    return indicator::sizeHint(*this);
}

QSize VCheckBox::minimumSizeHint() const
{
    return sizeHint();
}

void VCheckBox::paintEvent(QPaintEvent*)
{
    QPainter painter(this);
    drawButton(&painter);
}

void VCheckBox::drawButton(QPainter* painter)
{
    indicator::drawFace(painter, *this, QStringLiteral("check"));
    drawButtonLabel(painter);
}

void VCheckBox::drawButtonLabel(QPainter* painter)
{
    indicator::drawLabel(painter, *this);
}
