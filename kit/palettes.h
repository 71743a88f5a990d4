#pragma once

#include "kit/backgrounds.h"

#include <QColor>
#include <QPalette>
#include <QString>

/// Foreground of a dialog's title.
inline constexpr QColor TITLE_COLOUR(7, 84, 139);

/// The outline of rounded windows and the frames of lists, entries and boxes.
inline constexpr QColor OUTLINE_COLOUR(113, 156, 197);

/// Text of a link that can be clicked, and of one that cannot.
inline constexpr QColor LINK_COLOUR(0, 0, 255);
inline constexpr QColor DISABLED_LINK_COLOUR(192, 192, 192);

/// The palette of lists and text panes: black on white, grey when disabled, and `buttonImage` as the texture
/// of scroll bars, headers and combo boxes.
QPalette contentPalette(const QString& buttonImage = background::content);
