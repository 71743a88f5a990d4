#include "kit/vardostyle.h"

#include "kit/palettes.h"

#include <QApplication>
#include <QPainter>
#include <QPainterPath>
#include <QProxyStyle>
#include <QStyleFactory>
#include <QStyleOption>

namespace {

constexpr double radius = 2.5;

/// Fusion, with the texture of the Button brush where there is one, and thin, rounded frames in the colour of
/// the windows' outlines.
class VardoStyle : public QProxyStyle
{
  public:
    VardoStyle()
        : QProxyStyle(QStyleFactory::create(QStringLiteral("Fusion")))
    {
    }
};

} // namespace

void applyVardoStyle(QApplication& application)
{
    application.setStyle(new VardoStyle);
}
