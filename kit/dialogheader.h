#pragma once

#include <QString>

class QLabel;
class QWidget;
class VPushButton;

/// The picture at the top left of a dialog, "lblLogo", 48 by 48; owned by `dialog`.
QLabel* makeLogoLabel(QWidget* dialog, const QString& image);

/// The empty title beside it, "lblTitle"; owned by `dialog`.
QLabel* makeTitleLabel(QWidget* dialog);

/// The close button at the top right, "btnClose", not connected yet; owned by `dialog`.
VPushButton* makeCloseButton(QWidget* dialog, const QString& background);
