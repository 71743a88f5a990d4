#pragma once

#include <QAccessible>
#include <QAccessibleWidget>

class QLabel;

/// What assistive programs hear of the windows and Qt cannot tell by itself. GUI thread only.
namespace accessible {

/// Lets a plain widget pass for something; without a role it passes for nothing.
void setRole(QWidget* widget, QAccessible::Role role);

/// A top-level window or dialog: it has its role, and the application above it, whatever its parent.
void setWindow(QWidget* window, QAccessible::Role role);

/// Tells which captions belong to which controls or values.
void setCaptions(std::initializer_list<std::pair<QLabel*, QWidget*>> captions);

/// Tells that labels show something else by now. QLabel does not; and not for each object of a scan.
void tellChanged(std::initializer_list<QLabel*> labels);

} // namespace accessible
