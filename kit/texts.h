#pragma once

#include <QString>

#include <initializer_list>
#include <span>

class QComboBox;
class QWidget;

/// The `tr` of a window's class, in whose context its texts are translated.
using Translate = QString (*)(const char* text, const char* disambiguation, int n);

/// The fixed texts of one widget. What is null stays as it is.
struct TextRow
{
    QWidget* widget; ///< a button or a label; of a group box the title is set, of other widgets the tool tip
    const char* text = nullptr;
    const char* toolTip = nullptr;
    const char* shortcut = nullptr; ///< of a button
    /// Its name for assistive programs, where the text is none; of a button without a text it is else the
    /// tool tip.
    const char* spoken = nullptr;
};

void setTexts(Translate tr, std::initializer_list<TextRow> rows);

/// Puts `items` in the place of those that `combo` has.
void setItems(Translate tr, QComboBox* combo, std::span<const char* const> items);
