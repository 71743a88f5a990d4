#pragma once

#include "quarantine/quarantined.h"

inline bool appendQuarantineRecord(const char* objName, const char* virus)
{
    return quarantine::recordQuarantined(objName, virus);
}
