#include "kit/vlinkbutton.h"

#include "kit/focusline.h"
#include "kit/palettes.h"

#include <QApplication>
#include <QPainter>
#include <QStyle>

#include <algorithm>

namespace {

constexpr int iconGap = 4;

} // namespace

VLinkButton::VLinkButton(const QString& /*backgroundImage*/, QWidget* parent, const char* name)
    : QPushButton(parent)
{
    setObjectName(QLatin1StringView(name));
    QFont underlined;
    underlined.setUnderline(true);
    setFont(underlined);
    setCursor(Qt::PointingHandCursor);
    setFocusPolicy(Qt::NoFocus);
}

QPixmap VLinkButton::iconPixmap() const
{
    const double ratio = qApp->devicePixelRatio();
    const QSizeF pixels = icon().availableSizes().value(0, iconSize() * ratio);
    return icon().pixmap((pixels / ratio).toSize());
}

QSize VLinkButton::sizeHint() const
{
    const QSize textSize = fontMetrics().size(Qt::TextShowMnemonic, text());
    if (icon().isNull())
        return textSize;
    const QSize iconSpace = iconPixmap().deviceIndependentSize().toSize();
    return {iconSpace.width() + iconGap + textSize.width(), std::max(iconSpace.height(), textSize.height())};
}

QSize VLinkButton::minimumSizeHint() const
{
    return sizeHint();
}

void VLinkButton::paintEvent(QPaintEvent*)
{
    QPainter painter(this);
    drawButton(&painter);
}

void VLinkButton::drawButton(QPainter* painter)
{
    painter->setPen(isEnabled() ? LINK_COLOUR : DISABLED_LINK_COLOUR);
    drawButtonLabel(painter);
}

void VLinkButton::drawButtonLabel(QPainter* painter)
{
    QRect textRect = rect();
    int alignment = Qt::AlignHCenter | Qt::AlignVCenter;
    if (!icon().isNull()) {
        const QPixmap pixmap = iconPixmap();
        // The offset is an eight-bit number: in a link over 255 pixels taller than its icon it wraps, to the
        // top.
        const QSize space = pixmap.deviceIndependentSize().toSize();
        const int offset = std::max<int>(0, static_cast<signed char>((height() - space.height()) / 2));
        painter->drawPixmap(0, offset, pixmap);
        textRect.setLeft(space.width() + iconGap);
        alignment = Qt::AlignLeft | Qt::AlignVCenter;
    }
    style()->drawItemText(painter, textRect, alignment | Qt::TextShowMnemonic, palette(), isEnabled(),
                          text());
    drawFocusLine(painter, *this, rect());
}
