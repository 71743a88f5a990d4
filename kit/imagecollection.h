#pragma once

#include <QIcon>
#include <QPixmap>
#include <QString>

/// The compiled-in picture of that name, in the pixels of the screen: where these are not the program's
/// units, it is drawn anew at their factor. Made once and shared from then on. Names are case sensitive; an
/// unknown name gives a null pixmap. GUI thread only; like every pixmap it needs a QGuiApplication.
QPixmap vardoPixmap(const QString& name);

/// The program's icon, square, in the sizes that task bars ask for.
QIcon vardoIcon();
