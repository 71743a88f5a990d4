#include "kit/windowshape.h"

#include <QGuiApplication>
#include <QRegion>
#include <QWidget>

#include <vector>

#include <xcb/shape.h>

void setNativeShape(const QWidget& window, const QRegion& shape)
{
    const auto* x11 = qApp->nativeInterface<QNativeInterface::QX11Application>();
    if (!x11 || QGuiApplication::platformName() != QLatin1StringView("xcb") || window.internalWinId() == 0 ||
        window.devicePixelRatio() == 1)
        return;
    std::vector<xcb_rectangle_t> rectangles;
    for (const QRect& rect : shape)
        rectangles.push_back({static_cast<qint16>(rect.x()), static_cast<qint16>(rect.y()),
                              static_cast<quint16>(rect.width()), static_cast<quint16>(rect.height())});
    xcb_shape_rectangles(x11->connection(), XCB_SHAPE_SO_SET, XCB_SHAPE_SK_BOUNDING,
                         XCB_CLIP_ORDERING_UNSORTED, static_cast<xcb_window_t>(window.internalWinId()), 0, 0,
                         static_cast<quint32>(rectangles.size()), rectangles.data());
    xcb_flush(x11->connection());
}
