#pragma once

#include <Qt>

/// Flags of every window of the program: top level, without title bar, frame or decoration.
inline constexpr Qt::WindowFlags FRAMELESS_FLAGS = Qt::Window | Qt::FramelessWindowHint;
