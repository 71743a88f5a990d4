#include "mainwindow/clicks.h"

#include "mainwindow/vmainwidget.h"

#include <QAbstractButton>
#include <QTreeWidget>

void connectClicks(VMainWidget* window, std::initializer_list<Click> clicks)
{
    for (const auto& [button, slot] : clicks)
        QObject::connect(button, &QAbstractButton::clicked, window, slot);
}

void connectList(QTreeWidget* list, VMainWidget* window, void (VMainWidget::*selected)(),
                 void (VMainWidget::*opened)())
{
    QObject::connect(list, &QTreeWidget::itemSelectionChanged, window, selected);
    QObject::connect(list, &QTreeWidget::itemDoubleClicked, window, opened);
}
