#include "kit/fittedfont.h"

#include <QFontMetrics>
#include <QWidget>

QFont fittedFont(const QWidget* widget, int points, const QString& text, int limit)
{
    QFont font = widget->font();
    font.setFamilies({QStringLiteral("Serif")});
    for (font.setPointSize(points); points > 1; font.setPointSize(--points)) {
        if (QFontMetrics(font, widget).horizontalAdvance(text) <= limit)
            break;
    }
    return font;
}

QFont baseFont(const QWidget* widget)
{
    return fittedFont(widget, 14, QStringLiteral("Update Setting"), 109);
}

QFont titleFont(const QWidget* widget)
{
    return fittedFont(widget, 18, QStringLiteral("Reports"), 64);
}

QFont logoFont(const QWidget* widget)
{
    return fittedFont(widget, 20, QStringLiteral("Vardo"), 63);
}
