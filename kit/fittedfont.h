#pragma once

#include <QFont>
#include <QString>

class QWidget;

/// The widget's font in family "Serif", in the largest size at or below `points` at which `text` is at most
/// `limit` pixels wide; 1 point if none is.
QFont fittedFont(const QWidget* widget, int points, const QString& text, int limit);

/// BASE_FONT: the font of every window.
QFont baseFont(const QWidget* widget);

/// TITLE_FONT as fitted; a dialog's title shows it bold.
QFont titleFont(const QWidget* widget);

/// The font of the product's name in the main window.
QFont logoFont(const QWidget* widget);
