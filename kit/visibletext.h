#pragma once

#include <QByteArray>
#include <QString>

/// What stands for a character that would change the line it is shown in: control pictures for control
/// characters, the replacement character for line separators, for marks that reverse the text after them and
/// for others that cannot be seen. Any other character, and the tab, stands for itself.
QString visibleCharacter(const QString& character);

/// `text` in such characters alone: for labels and lists that show names from outside, so that no name can
/// pass for another.
QString visibleText(const QString& text);

/// A tool tip that shows `name` as it stands. Rich text, as that alone is wrapped: the end of a path is what
/// tells files apart, and must not leave the screen. Nor may a name without a blank take it there.
QString literalToolTip(QString name);

/// Texts of the engine are bytes: they go to files and panes as they are, and on widgets as this, with
/// replacement characters for what is not UTF-8.
inline QString shownText(const char* bytes)
{
    return QString::fromUtf8(bytes);
}

/// `bytes` with a picture in the place of each end of line, so that no file's name can pass for two lines.
QByteArray oneLine(QByteArray bytes);
