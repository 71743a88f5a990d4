#pragma once

/// Makes Xlib safe for threads; comes ahead of everything that touches the display.
void initXThreads();
