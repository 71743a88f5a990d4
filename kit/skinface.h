#pragma once

#include <QPixmap>
#include <QString>

class QAbstractButton;

/// The name of the image that shows `button` in its present state: `base`, a digit from 1 to 5, ".png".
QString skinFaceName(const QString& base, const QAbstractButton& button);

/// That image; null where the set has no such face.
QPixmap skinFace(const QString& base, const QAbstractButton& button);
