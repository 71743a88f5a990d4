#pragma once

#include <QString>

/// What stands for a character that would change the line it is shown in: control pictures for control
/// characters, the replacement character for line separators, for marks that reverse the text after them and
/// for others that cannot be seen. Any other character, and the tab, stands for itself.
QString visibleCharacter(const QString& character);

/// `text` in such characters alone: for labels and lists that show names from outside, so that no name can
/// pass for another.
QString visibleText(const QString& text);
