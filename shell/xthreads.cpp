#include "shell/xthreads.h"

// The only file that includes Xlib, whose macros would spoil others.
#include <X11/Xlib.h>

void initXThreads()
{
    XInitThreads();
}
