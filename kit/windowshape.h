#pragma once

class QRegion;
class QWidget;

/// Gives the window on the screen a shape in the screen's own pixels, so that its corners are as fine as
/// these at any factor; QWidget::setMask, which must have been called, knows whole units only. Nothing
/// happens where the program's units are the screen's pixels, without X11, or ahead of the window on the
/// screen.
void setNativeShape(const QWidget& window, const QRegion& shape);
