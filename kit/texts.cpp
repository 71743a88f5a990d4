#include "kit/texts.h"

#include "kit/vpushbutton.h"

#include <QAbstractButton>
#include <QComboBox>
#include <QGroupBox>
#include <QKeySequence>
#include <QLabel>

static void setText(QWidget* widget, const QString& text)
{
    if (auto* button = qobject_cast<QAbstractButton*>(widget))
        button->setText(text);
    else if (auto* label = qobject_cast<QLabel*>(widget))
        label->setText(text);
    else if (auto* group = qobject_cast<QGroupBox*>(widget))
        group->setTitle(text);
    else
        Q_ASSERT_X(false, "setTexts", "a widget without a text of its own");
}

/// Of a button that is a picture, what the tool tip says.
static QString spokenName(Translate tr, const TextRow& row)
{
    const auto* button = qobject_cast<VPushButton*>(row.widget);
    if (row.spoken)
        return tr(row.spoken, nullptr, -1);
    return button && button->text().isEmpty() ? button->toolTip() : row.widget->accessibleName();
}

void setTexts(Translate tr, std::initializer_list<TextRow> rows)
{
    for (const TextRow& row : rows) {
        if (row.text)
            setText(row.widget, tr(row.text, nullptr, -1));
        if (row.toolTip)
            row.widget->setToolTip(tr(row.toolTip, nullptr, -1));
        row.widget->setAccessibleName(spokenName(tr, row));
        // A new text drops the shortcut, so this comes last.
        if (row.shortcut)
            static_cast<QAbstractButton*>(row.widget)
                ->setShortcut(QKeySequence(tr(row.shortcut, nullptr, -1)));
    }
}

void setItems(Translate tr, QComboBox* combo, std::span<const char* const> items)
{
    combo->clear();
    for (const char* item : items)
        combo->addItem(tr(item, nullptr, -1));
}
