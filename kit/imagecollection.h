#pragma once

#include <QBrush>
#include <QIcon>
#include <QPixmap>
#include <QString>

/// The compiled-in picture of that name, in the pixels of the screen: where these are not the program's
/// units, it is drawn anew at their factor. Made once and shared from then on. Names are case sensitive; an
/// unknown name gives a null pixmap. GUI thread only; like every pixmap it needs a QGuiApplication.
QPixmap vardoPixmap(const QString& name);

/// That picture as a texture of `colour`, which is seen through it.
QBrush vardoBrush(const QString& name, const QColor& colour = Qt::black);

/// The program's icon, square, in the sizes that task bars ask for.
QIcon vardoIcon();
