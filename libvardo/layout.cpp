#include "engine/layout.h"
