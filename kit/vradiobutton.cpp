#include "kit/vradiobutton.h"

#include "kit/indicator.h"

#include <QPainter>

VRadioButton::VRadioButton(QWidget* parent, const char* name)
    : QRadioButton(parent)
{
    setObjectName(QLatin1StringView(name));
    setMouseTracking(true);
    setAttribute(Qt::WA_Hover);
}

QSize VRadioButton::sizeHint() const
{
    return indicator::sizeHint(*this);
}

QSize VRadioButton::minimumSizeHint() const
{
    return sizeHint();
}

void VRadioButton::paintEvent(QPaintEvent*)
{
    QPainter painter(this);
    drawButton(&painter);
}

void VRadioButton::drawButton(QPainter* painter)
{
    indicator::drawFace(painter, *this, QStringLiteral("option"));
    drawButtonLabel(painter);
}

void VRadioButton::drawButtonLabel(QPainter* painter)
{
    indicator::drawLabel(painter, *this);
}
