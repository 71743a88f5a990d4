#pragma once

#include <QByteArray>
#include <QHash>
#include <QImage>
#include <QSize>
#include <QString>

using Parameters = QHash<QString, QString>;

/// Ends a build-time program with a message that says which source is at fault.
[[noreturn]] void fail(const QString& message);

/// The whole file as text; ends the program if it cannot be read.
QString readText(const QString& path);

/// The SVG document of a template. In a template {{name}} stands for a parameter and
/// {{>file}} for the elements of another template beside it, which sees the same parameters. Faults in the
/// template end the program.
QByteArray expandTemplate(const QString& path, const Parameters& parameters);

/// Draws such a document, without premultiplied alpha. The parameter "opacity" (0 to 1) fades the finished
/// picture.
QImage renderTemplate(const QString& path, const Parameters& parameters, QSize size);
