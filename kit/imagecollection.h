#pragma once

#include <QPixmap>
#include <QString>

/// The compiled-in picture of that name, decompressed once and shared from then on. Names are case sensitive;
/// an unknown name, or a call while no QGuiApplication exists, gives a null pixmap. GUI thread only.
QPixmap vardoPixmap(const QString& name);
