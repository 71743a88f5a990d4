#pragma once

class QLabel;
class QWidget;

/// A label owned by `parent` that shows its text as it stands, tags included: for file names, engine texts
/// and all else that comes from data. It takes no mouse events, so a drag of the window may start on it.
QLabel* plainLabel(QWidget* parent, const char* name);

/// Likewise for rich text of our own making.
QLabel* richLabel(QWidget* parent, const char* name);
