#include "kit/roundedwindow.h"

#include "kit/accessible.h"
#include "kit/fittedfont.h"
#include "kit/imagecollection.h"
#include "kit/palettes.h"
#include "kit/windowshape.h"

#include <QIcon>
#include <QPainter>
#include <QPen>
#include <QtMath>

#include <algorithm>
#include <climits>
#include <cmath>

namespace {

constexpr int quarter = 90 * 16;

int cornerDiameter(int side, int percent)
{
    static_assert(QWIDGETSIZE_MAX <= INT_MAX / 100, "a side times a percentage fits an int");
    return 2 * (side * (percent > 100 ? 99 : percent) / 200);
}

} // namespace

QPolygon makeArc(int x, int y, int w, int h, int a1, int a2)
{
    if (w < 1 || h < 1)
        return {{QPoint(x, y)}};
    const double rx = (w - 1) / 2.0;
    const double ry = (h - 1) / 2.0;
    // Steps below half a pixel along the curve, so that no pixel is left out.
    const double radians = qDegreesToRadians(a2 / 16.0);
    const int steps = std::max(1, qCeil(std::abs(radians) * std::max(rx, ry) * 2));
    QPolygon points;
    for (int i = 0; i <= steps; ++i) {
        const double angle = qDegreesToRadians(a1 / 16.0) + radians * i / steps;
        const QPoint point(qRound(x + rx + rx * std::cos(angle)), qRound(y + ry - ry * std::sin(angle)));
        if (points.isEmpty() || points.last() != point)
            points << point;
    }
    return points;
}

QPolygon roundedOutline(QSize size, int xRnd, int yRnd, double ratio)
{
    const int dx = qRound(cornerDiameter(size.width(), xRnd) * ratio);
    const int dy = qRound(cornerDiameter(size.height(), yRnd) * ratio);
    const int w = qRound(size.width() * ratio), h = qRound(size.height() * ratio);
    return makeArc(0, 0, dx, dy, quarter, quarter) + makeArc(0, h - dy, dx, dy, 2 * quarter, quarter) +
           makeArc(w - dx, h - dy, dx, dy, 3 * quarter, quarter) + makeArc(w - dx, 0, dx, dy, 0, quarter);
}

void roundedwindow::setUp(QWidget* window)
{
    accessible::setWindow(window, window->inherits("QDialog") ? QAccessible::Dialog : QAccessible::Window);
    window->setFont(baseFont(window));
    window->setWindowIcon(vardoIcon());
}

void roundedwindow::paintBackground(QWidget* window, const QString& backgroundImage)
{
    QPainter painter(window);
    const QPixmap picture = vardoPixmap(backgroundImage);
    const QSizeF size = picture.deviceIndependentSize();
    for (double y = 0; y < window->height() && !picture.isNull(); y += size.height()) {
        for (double x = 0; x < window->width(); x += size.width())
            painter.drawPixmap(QPointF(x, y), picture);
    }
}

void roundedwindow::paintOutline(QWidget* window, const QPolygon& outline)
{
    QPainter painter(window);
    painter.setRenderHint(QPainter::Antialiasing);
    const double ratio = window->devicePixelRatio();
    painter.scale(1 / ratio, 1 / ratio);
    painter.setPen(QPen(OUTLINE_COLOUR, 2 * ratio));
    painter.drawPolygon(outline, Qt::OddEvenFill);
}

void roundedwindow::shape(QWidget* window, const QPolygon& outline)
{
    setNativeShape(*window, QRegion(outline, Qt::OddEvenFill));
}
