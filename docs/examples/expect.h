#pragma once

#include <cstdio>
#include <cstdlib>

/// Ends the example as failed where something is not as it says.
inline void expect(bool holds, const char* file = __builtin_FILE(), int line = __builtin_LINE()) {
    if (!holds) {
        std::fprintf(stderr, "%s:%d: not as it says\n", file, line);
        std::exit(1);
    }
}
