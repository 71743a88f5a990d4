#include "kit/builders.h"

#include "kit/fittedfont.h"
#include "kit/imagecollection.h"
#include "kit/labels.h"
#include "kit/palettes.h"
#include "kit/vcheckbox.h"
#include "kit/vlinkbutton.h"
#include "kit/vpushbutton.h"

#include <QComboBox>
#include <QGridLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QIcon>
#include <QKeySequence>
#include <QLabel>
#include <QLineEdit>
#include <QSignalBlocker>
#include <QSpacerItem>
#include <QSpinBox>
#include <QTreeWidget>

#include <algorithm>

namespace build {

VPushButton* textButton(QWidget* parent, const char* name)
{
    return pictureButton(parent, name, "button", {80, 32}, false);
}

VPushButton* pictureButton(QWidget* parent, const char* name, const char* image, QSize size, bool toggle)
{
    auto* button = new VPushButton(QLatin1StringView(image), {}, toggle, parent, name);
    button->setFixedSize(size);
    return button;
}

VPushButton* closeButton(QWidget* window)
{
    VPushButton* button = pictureButton(window, "btnClose", "close", {23, 23}, false);
    button->setAccessibleName(VPushButton::tr("Close"));
    button->setShortcut(QKeySequence(QStringLiteral("Ctrl+W")));
    return button;
}

VPushButton* minimizeButton(QWidget* window)
{
    VPushButton* button = pictureButton(window, "btnMinimize", "minimize", {23, 23}, false);
    button->setShortcut(QKeySequence(QStringLiteral("Ctrl+M")));
    return button;
}

VLinkButton* link(QWidget* parent, const char* name)
{
    return new VLinkButton({}, parent, name);
}

VLinkButton* pictureLink(QWidget* parent, const char* name, const char* image, QSize iconSize)
{
    VLinkButton* button = link(parent, name);
    button->setIcon(vardoPixmap(QLatin1StringView(image)));
    button->setIconSize(iconSize);
    return button;
}

QLabel* separator(QWidget* parent, const char* name)
{
    QLabel* label = plainLabel(parent, name);
    label->setFont(titleFont(label));
    return label;
}

QLabel* heading(QWidget* parent, const char* name)
{
    QLabel* label = plainLabel(parent, name);
    QFont font = titleFont(label);
    font.setBold(true);
    label->setFont(font);
    setTextColour(label, TITLE_COLOUR);
    return label;
}

QLabel* picture(QWidget* parent, const char* name, const char* image, QSize size)
{
    QLabel* label = plainLabel(parent, name);
    label->setFixedSize(size);
    label->setPixmap(vardoPixmap(QLatin1StringView(image)));
    return label;
}

QLabel* logo(QWidget* window, const char* image)
{
    return picture(window, "lblLogo", image, {48, 48});
}

void setTextColour(QWidget* widget, QColor colour)
{
    QPalette palette;
    palette.setColor(QPalette::WindowText, colour);
    widget->setPalette(palette);
}

QTreeWidget* list(QWidget* parent, const char* name, const QStringList& columns)
{
    auto* tree = new QTreeWidget(parent);
    tree->setObjectName(QLatin1StringView(name));
    tree->setPalette(contentPalette());
    tree->setHeaderLabels(columns);
    tree->setRootIsDecorated(false);
    tree->setUniformRowHeights(true);
    tree->setAllColumnsShowFocus(true);
    tree->setIndentation(20);
    tree->header()->setSectionResizeMode(QHeaderView::ResizeToContents);
    tree->header()->setStretchLastSection(true);
    return tree;
}

QTreeWidget* fileList(QWidget* parent, const char* name, const QStringList& columns)
{
    QTreeWidget* tree = list(parent, name, columns);
    tree->setSelectionMode(QAbstractItemView::ExtendedSelection);
    tree->setSortingEnabled(true);
    tree->sortByColumn(1, Qt::DescendingOrder);
    tree->header()->setSectionsClickable(false);
    return tree;
}

QGridLayout* listGrid(QWidget* page, QTreeWidget* list, int columns)
{
    auto* grid = layout<QGridLayout>(15, 10, page);
    grid->addWidget(list, 0, 0, 1, columns);
    return grid;
}

void fillRow(QGridLayout* grid, int row, int column, std::initializer_list<QWidget*> widgets)
{
    for (QWidget* widget : widgets)
        grid->addWidget(widget, row, column++);
}

void setRows(QTreeWidget* list, const QList<QTreeWidgetItem*>& rows)
{
    const QSignalBlocker quiet(list);
    list->clear();
    list->addTopLevelItems(rows);
    list->sortItems(list->sortColumn(), list->header()->sortIndicatorOrder());
}

QLineEdit* entry(QWidget* parent, const char* name, const char* image, QSize size, int maxLength)
{
    auto* edit = new QLineEdit(parent);
    edit->setObjectName(QLatin1StringView(name));
    edit->setFixedSize(size);
    edit->setFrame(false);
    edit->setMaxLength(maxLength);
    QPalette palette;
    palette.setBrush(QPalette::Base, vardoPixmap(QLatin1StringView(image)));
    edit->setPalette(palette);
    return edit;
}

QSpacerItem* stretch(int width)
{
    return new QSpacerItem(width, 3, QSizePolicy::Expanding, QSizePolicy::Minimum);
}

VCheckBox* checkBox(QWidget* parent, const char* name, bool on)
{
    auto* box = new VCheckBox(parent, name);
    box->setChecked(on);
    return box;
}

QSpinBox* spinBox(QWidget* parent, const char* name, int minimum, int maximum, int value)
{
    auto* spin = new QSpinBox(parent);
    spin->setObjectName(QLatin1StringView(name));
    spin->setFixedSize(46, 26);
    spin->setRange(minimum, maximum);
    spin->setValue(value);
    // A number typed beyond the range becomes the nearest one, not the one before.
    spin->setCorrectionMode(QAbstractSpinBox::CorrectToNearestValue);
    return spin;
}

QComboBox* comboBox(QWidget* parent, const char* name, const QString& texture)
{
    auto* combo = new QComboBox(parent);
    combo->setObjectName(QLatin1StringView(name));
    QPalette palette;
    palette.setBrush(QPalette::Button, vardoPixmap(texture));
    combo->setPalette(palette);
    return combo;
}

QHBoxLayout* row(int spacing, std::initializer_list<QWidget*> widgets)
{
    auto* row = layout<QHBoxLayout>(0, spacing);
    for (QWidget* widget : widgets) {
        if (widget)
            row->addWidget(widget);
        else
            row->addItem(stretch());
    }
    return row;
}

QGroupBox* groupBox(QWidget* parent, const char* name, QSize fixed)
{
    auto* group = new QGroupBox(parent);
    group->setObjectName(QLatin1StringView(name));
    if (fixed.isValid())
        group->setFixedSize(fixed);
    return group;
}

QGridLayout* groupGrid(QGroupBox* group, int margin, int spacing)
{
    auto* grid = new QGridLayout(group);
    grid->setContentsMargins(groupMargins(group, margin));
    grid->setSpacing(spacing);
    return grid;
}

QMargins groupMargins(const QGroupBox* group, int margin)
{
    return {margin, std::max(0, margin - group->fontMetrics().height()), margin, margin};
}

} // namespace build
