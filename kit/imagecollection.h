#pragma once

#include <QPixmap>
#include <QString>

/// The compiled-in picture of that name, decompressed once and shared from then on. Names are case sensitive;
/// an unknown name gives a null pixmap. GUI thread only; like every pixmap it needs a QGuiApplication.
QPixmap vardoPixmap(const QString& name);
