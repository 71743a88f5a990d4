// Compiles the checks of the boundary's layout into the library.
#include "engine/layout.h"
