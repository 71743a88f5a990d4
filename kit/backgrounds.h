#pragma once

#include <QLatin1StringView>

/// The pictures that windows and controls are painted on.
namespace background {

/// Behind the main window and its pages.
inline constexpr QLatin1StringView mainWindow("Linux_GUI_010610.png");
/// Behind every other window.
inline constexpr QLatin1StringView dialog("Linux_GUI_popup_bg2.png");
/// Behind message boxes and the pages of a tab widget.
inline constexpr QLatin1StringView box("Linux_GUI_popup_bg3.png");
/// On scroll bars, headers and combo boxes of lists and text panes.
inline constexpr QLatin1StringView content("Linux_GUI_popup_bg.png");
/// On the other combo boxes.
inline constexpr QLatin1StringView combo("button_back.png");

} // namespace background
