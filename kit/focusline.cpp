#include "kit/focusline.h"

#include "kit/palettes.h"

#include <QAbstractButton>
#include <QPainter>

void drawFocusLine(QPainter* painter, const QAbstractButton& button, const QRect& rect)
{
    if (!button.hasFocus() || !button.window()->testAttribute(Qt::WA_KeyboardFocusChange))
        return;
    painter->setPen(QPen(TITLE_COLOUR, 1, Qt::DotLine));
    painter->setBrush(Qt::NoBrush);
    painter->drawRect(rect.adjusted(0, 0, -1, -1));
}
