#include "kit/accessible.h"

#include "kit/accessiblepane.h"
#include "kit/vtextpane.h"

#include <QApplication>
#include <QLabel>
#include <QVariant>

namespace {

constexpr char roleProperty[] = "accessibleRole";

/// A dialog's parent is the window that it belongs to, which does not list it among its children.
class AccessibleWindow : public QAccessibleWidget
{
  public:
    using QAccessibleWidget::QAccessibleWidget;

    QAccessibleInterface* parent() const override { return QAccessible::queryAccessibleInterface(qApp); }
};

QAccessibleInterface* make(const QString&, QObject* object)
{
    if (auto* pane = qobject_cast<VTextPane*>(object))
        return new AccessiblePane(pane);
    const QVariant role = object && object->isWidgetType() ? object->property(roleProperty) : QVariant();
    if (!role.isValid())
        return nullptr;
    auto* widget = static_cast<QWidget*>(object);
    const auto asRole = static_cast<QAccessible::Role>(role.toInt());
    return widget->isWindow() ? new AccessibleWindow(widget, asRole) : new QAccessibleWidget(widget, asRole);
}

} // namespace

void accessible::setRole(QWidget* widget, QAccessible::Role role)
{
    widget->setProperty(roleProperty, static_cast<int>(role));
}

void accessible::setWindow(QWidget* window, QAccessible::Role role)
{
    QAccessible::installFactory(&make); // once; further calls change nothing
    setRole(window, role);
}

void accessible::setCaptions(std::initializer_list<std::pair<QLabel*, QWidget*>> captions)
{
    for (const auto& [caption, widget] : captions)
        caption->setBuddy(widget);
}

void accessible::tellChanged(std::initializer_list<QLabel*> labels)
{
    for (QLabel* label : labels) {
        QAccessibleEvent event(label, QAccessible::NameChanged);
        QAccessible::updateAccessibility(&event);
    }
}
