#include "sfl/sfl.h"
