#pragma once

/// Marks what libvardo.so exports; everything else in it is hidden.
#define VARDO_API [[gnu::visibility("default")]]
