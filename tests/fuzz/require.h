// What a fuzz target expects of the code under it. Used by the targets of the service.
#pragma once

#include <cstdlib>

/// Ends the program, which the fuzzer takes for a finding.
inline void require(bool condition) {
    if (!condition) {
        std::abort();
    }
}
