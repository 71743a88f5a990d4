#pragma once

#include <initializer_list>

class QAbstractButton;
class QTreeWidget;
class VMainWidget;

/// A button and the slot that a click on it calls.
struct Click
{
    QAbstractButton* button;
    void (VMainWidget::*slot)();
};

void connectClicks(VMainWidget* window, std::initializer_list<Click> clicks);

/// Connects a list: `selected` is called whenever the selection changes, `opened` at a double click on a row.
void connectList(QTreeWidget* list, VMainWidget* window, void (VMainWidget::*selected)(),
                 void (VMainWidget::*opened)());
