#pragma once

#include <QSize>
#include <QString>

class QAbstractButton;
class QPainter;

/// What check boxes and radio buttons have in common: an 18 by 18 indicator at the left, centred vertically,
/// and the text from x 22 on.
namespace indicator {

QSize sizeHint(const QAbstractButton& button);
/// Draws the face of `image` for the button's state at the indicator's top left corner.
void drawFace(QPainter* painter, const QAbstractButton& button, const QString& image);
void drawLabel(QPainter* painter, const QAbstractButton& button);

} // namespace indicator
