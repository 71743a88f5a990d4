#pragma once

#include "kit/roundedwindow.h"

#include <QDialog>

class QLabel;
class VPushButton;

/// What the program's dialogs have in common: rounded corners, their background picture and, where they want
/// it, a header of logo, title and close button. A dialog gives itself a size, builds its widgets and ends
/// with its texts.
class DialogWindow : public RoundedWindow<QDialog>
{
    Q_OBJECT

  protected:
    /// `name` becomes the object name.
    DialogWindow(QWidget* parent, const char* name, bool modal, Qt::WindowFlags flags, bool outline = true);

    /// Sets the size for good, and the shape; the radii are those of makeWidgetRound.
    void setShape(QSize size, int xRnd, int yRnd);
    /// Puts the header in its place on a window that has its shape. The button closes the window.
    void buildHeader(const char* logo, int titleWidth);

    QLabel* lblLogo = nullptr;
    QLabel* lblTitle = nullptr;
    VPushButton* btnClose = nullptr;
};
