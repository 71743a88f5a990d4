#include "kit/skinface.h"

#include "kit/imagecollection.h"

#include <QAbstractButton>

QString skinFaceName(const QString& base, const QAbstractButton& button)
{
    // Indexed by pressed (1), on (2), enabled (4) and mouse over (8). Pressed and on cancel out: a control
    // that is on shows the face of rest or hover while it is pressed.
    static constexpr char faces[] = "5544133155442332";
    const unsigned state = (button.isDown() ? 1U : 0U) | (button.isChecked() ? 2U : 0U) |
                           (button.isEnabled() ? 4U : 0U) | (button.underMouse() ? 8U : 0U);
    return base + QLatin1Char(faces[state]) + QStringLiteral(".png");
}

QPixmap skinFace(const QString& base, const QAbstractButton& button)
{
    return vardoPixmap(skinFaceName(base, button));
}
