#include "kit/dialogheader.h"

#include "kit/builders.h"
#include "kit/imagecollection.h"
#include "kit/labels.h"

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
    return build::heading(dialog, "lblTitle");
}

VPushButton* makeCloseButton(QWidget* dialog, const QString& /*background*/)
{
    return build::closeButton(dialog);
}
