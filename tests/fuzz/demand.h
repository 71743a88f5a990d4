#pragma once

#include <cstdio>
#include <cstdlib>

/// Stops the fuzzer with `what` unless it `holds`.
inline void demand(bool holds, const char* what)
{
    if (holds)
        return;
    std::fprintf(stderr, "%s\n", what);
    std::abort();
}
