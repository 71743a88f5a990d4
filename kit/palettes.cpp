#include "kit/palettes.h"

#include "kit/imagecollection.h"

#include <QBrush>
#include <QPixmap>

namespace {

struct RoleColours
{
    QPalette::ColorRole role;
    QColor active, inactive, disabled;
};

constexpr QColor black(0, 0, 0), white(255, 255, 255), silver(192, 192, 192), grey(128, 128, 128);

constexpr RoleColours contentColours[] = {
    {QPalette::WindowText, black, black, grey},
    {QPalette::Light, white, white, white},
    {QPalette::Midlight, {223, 223, 223}, {220, 220, 220}, {220, 220, 220}},
    {QPalette::Dark, {96, 96, 96}, {96, 96, 96}, {96, 96, 96}},
    {QPalette::Mid, grey, grey, grey},
    {QPalette::Text, black, black, black},
    {QPalette::BrightText, white, white, white},
    {QPalette::ButtonText, black, black, grey},
    {QPalette::Base, white, white, white},
    {QPalette::Window, silver, silver, silver},
    {QPalette::Shadow, black, black, black},
    {QPalette::Highlight, black, black, black},
    {QPalette::HighlightedText, white, white, white},
    {QPalette::Link, {0, 0, 255}, {0, 0, 255}, {0, 0, 255}},
    {QPalette::LinkVisited, {255, 0, 255}, {255, 0, 255}, {255, 0, 255}},
};

} // namespace

QPalette contentPalette(const QString& buttonImage)
{
    QPalette palette;
    for (const RoleColours& colours : contentColours) {
        palette.setColor(QPalette::Active, colours.role, colours.active);
        palette.setColor(QPalette::Inactive, colours.role, colours.inactive);
        palette.setColor(QPalette::Disabled, colours.role, colours.disabled);
    }
    palette.setBrush(QPalette::Button, QBrush(silver, vardoPixmap(buttonImage)));
    return palette;
}
