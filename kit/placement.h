#pragma once

#include <QWidget>

/// Centres the top-level `window` on `other`, both with their present sizes.
inline void centreOn(QWidget& window, const QWidget& other)
{
    window.setGeometry(other.x() + (other.width() - window.width()) / 2,
                       other.y() + (other.height() - window.height()) / 2, window.width(), window.height());
}
