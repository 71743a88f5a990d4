#pragma once

#include "kit/backgrounds.h"

#include <QColor>
#include <QMargins>
#include <QSize>
#include <QString>
#include <QStringList>

#include <initializer_list>

class QComboBox;
class QGridLayout;
class QGroupBox;
class QHBoxLayout;
class QLabel;
class QLineEdit;
class QSpacerItem;
class QSpinBox;
class QTreeWidget;
class QTreeWidgetItem;
class QWidget;
class VCheckBox;
class VLinkButton;
class VPushButton;

/// What the windows are built from. Every widget is owned by `parent`; texts come later, see languageChange.
namespace build {

/// A push button of the usual size, 80 by 32.
VPushButton* textButton(QWidget* parent, const char* name);
/// A push button that is no more than the picture `image`, of that size.
VPushButton* pictureButton(QWidget* parent, const char* name, const char* image, QSize size, bool toggle);

/// The buttons "btnClose" and "btnMinimize", 23 by 23, for a window's top right corner, with their keys.
VPushButton* closeButton(QWidget* window);
VPushButton* minimizeButton(QWidget* window);

VLinkButton* link(QWidget* parent, const char* name);
VLinkButton* pictureLink(QWidget* parent, const char* name, const char* image, QSize iconSize);

/// The stroke between two links.
QLabel* separator(QWidget* parent, const char* name);
/// A bold heading in TITLE_FONT and TITLE_COLOUR.
QLabel* heading(QWidget* parent, const char* name);
void setTextColour(QWidget* widget, QColor colour);

/// The picture `image` in a label of that size.
QLabel* picture(QWidget* parent, const char* name, const char* image, QSize size);
/// The picture "lblLogo", 48 by 48, for a window's top left corner.
QLabel* logo(QWidget* window, const char* image);

/// A flat list in the content palette, whose last column takes what is left of the width.
QTreeWidget* list(QWidget* parent, const char* name, const QStringList& columns);
/// A list of files, newest first by its column 1; the user cannot change the order.
QTreeWidget* fileList(QWidget* parent, const char* name, const QStringList& columns);

/// The grid of a page with a list on top, over all columns, and rows of other widgets below.
QGridLayout* listGrid(QWidget* page, QTreeWidget* list, int columns);
/// Puts widgets side by side into a row of the grid, from this column on.
void fillRow(QGridLayout* grid, int row, int column, std::initializer_list<QWidget*> widgets);

/// Replaces the rows of a list, which takes them over, without a signal of a changed selection.
void setRows(QTreeWidget* list, const QList<QTreeWidgetItem*>& rows);

/// A line to type in whose frame is the picture `image`.
QLineEdit* entry(QWidget* parent, const char* name, const char* image, QSize size, int maxLength);

VCheckBox* checkBox(QWidget* parent, const char* name, bool on = false);
/// A box for a number of up to two digits.
QSpinBox* spinBox(QWidget* parent, const char* name, int minimum, int maximum, int value);
/// A choice out of texts, which the user cannot edit; empty at first.
QComboBox* comboBox(QWidget* parent, const char* name, const QString& texture = background::combo);

/// A layout with the same margin on all sides, of `owner` if there is one.
template <class Layout>
Layout* layout(int margin, int spacing, QWidget* owner = nullptr)
{
    auto* made = new Layout(owner);
    made->setContentsMargins(margin, margin, margin, margin);
    made->setSpacing(spacing);
    return made;
}

/// Takes the room that is left in a row.
QSpacerItem* stretch(int width = 100);
/// Widgets side by side, without a margin; a null one is a stretch.
QHBoxLayout* row(int spacing, std::initializer_list<QWidget*> widgets);

/// A group box, of a fixed size if one is given.
QGroupBox* groupBox(QWidget* parent, const char* name, QSize fixed = {});
/// The grid within a group box, `margin` pixels from its edges.
QGridLayout* groupGrid(QGroupBox* group, int margin, int spacing);

/// The margins of a group box's layout so that contents begin `margin` pixels below its top edge, title or
/// not.
QMargins groupMargins(const QGroupBox* group, int margin);

} // namespace build
