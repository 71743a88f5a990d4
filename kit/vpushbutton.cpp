#include "kit/vpushbutton.h"

#include "kit/focusline.h"
#include "kit/skinface.h"

#include <QPainter>
#include <QStyle>
#include <QStyleOptionButton>

VPushButton::VPushButton(const QString& image, const QString& /*backgroundImage*/, bool toggle,
                         QWidget* parent, const char* name)
    : QPushButton(parent)
    , strImage(image)
{
    setObjectName(QLatin1StringView(name));
    setMouseTracking(true);
    setAttribute(Qt::WA_Hover);
    setCheckable(toggle);
    setFocusPolicy(Qt::NoFocus);
}

void VPushButton::paintEvent(QPaintEvent*)
{
    QPainter painter(this);
    drawButton(&painter);
}

void VPushButton::drawButton(QPainter* painter)
{
    painter->drawPixmap(0, 0, skinFace(strImage, *this));
    drawButtonLabel(painter);
    drawFocusLine(painter, *this, rect().adjusted(4, 4, -5, -5));
}

void VPushButton::drawButtonLabel(QPainter* painter)
{
    QStyleOptionButton option;
    initStyleOption(&option);
    style()->drawControl(QStyle::CE_PushButtonLabel, &option, painter, this);
}
