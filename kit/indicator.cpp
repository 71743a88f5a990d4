#include "kit/indicator.h"

#include "kit/focusline.h"
#include "kit/skinface.h"

#include <QAbstractButton>
#include <QPainter>
#include <QStyle>

#include <algorithm>

namespace {

constexpr int side = 18;
constexpr int textLeft = 22;

} // namespace

QSize indicator::sizeHint(const QAbstractButton& button)
{
    const QSize text = button.fontMetrics().size(Qt::TextShowMnemonic, button.text());
    return {textLeft + text.width(), std::max(side, text.height())};
}

void indicator::drawFace(QPainter* painter, const QAbstractButton& button, const QString& image)
{
    painter->drawPixmap(0, (button.height() - side) / 2, skinFace(image, button));
}

void indicator::drawLabel(QPainter* painter, const QAbstractButton& button)
{
    const QRect textRect(textLeft, 0, button.width() - textLeft, button.height());
    constexpr int flags = Qt::AlignLeft | Qt::AlignVCenter | Qt::TextShowMnemonic;
    button.style()->drawItemText(painter, textRect, flags, button.palette(), button.isEnabled(),
                                 button.text(), QPalette::WindowText);
    const QSize text = button.fontMetrics().size(Qt::TextShowMnemonic, button.text());
    const QRect line(textLeft - 2, (button.height() - text.height()) / 2, text.width() + 4, text.height());
    drawFocusLine(painter, button, line.intersected(button.rect()));
}
