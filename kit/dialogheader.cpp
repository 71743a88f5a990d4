#include "kit/dialogheader.h"

#include "kit/fittedfont.h"
#include "kit/imagecollection.h"
#include "kit/labels.h"
#include "kit/palettes.h"
#include "kit/vpushbutton.h"

#include <QLabel>

QLabel* makeLogoLabel(QWidget* dialog, const QString& image)
{
    QLabel* lblLogo = plainLabel(dialog, "lblLogo");
    lblLogo->setFixedSize(48, 48);
    lblLogo->setPixmap(vardoPixmap(image));
    return lblLogo;
}

QLabel* makeTitleLabel(QWidget* dialog)
{
    QLabel* lblTitle = plainLabel(dialog, "lblTitle");
    QFont font = titleFont(lblTitle);
    font.setBold(true);
    lblTitle->setFont(font);
    QPalette palette;
    palette.setColor(QPalette::WindowText, TITLE_COLOUR);
    lblTitle->setPalette(palette);
    return lblTitle;
}

VPushButton* makeCloseButton(QWidget* dialog, const QString& background)
{
    auto* btnClose = new VPushButton(QStringLiteral("close"), background, false, dialog, "btnClose");
    btnClose->setFixedSize(23, 23);
    return btnClose;
}
