#pragma once

#include <QSize>

#include <memory>

class QApplication;

/// How large the program's pixels are on the screen: as the desktop has them, or smaller where the window
/// would not fit. GUI thread only.
namespace screenfactor {

/// The application object, at the desktop's factor, or at the largest one below it at which a window of that
/// size fits the screen. Processes that are started later have the desktop's. Null without memory.
std::unique_ptr<QApplication> applicationFor(QSize window, int& argc, char** argv);

/// Whether the primary screen has as many pixels of its own, whatever the factor.
bool hasPixels(QSize size);

} // namespace screenfactor
