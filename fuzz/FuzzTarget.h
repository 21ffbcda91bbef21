#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>

/// What a fuzz target defines. Returns 0; ends the process when the code under test breaks a promise.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace kelo {

/// For what has to hold for every input. Not an assertion of the C library: those vanish from optimised builds.
inline void mustHold(bool condition, const char* what) {
    if (condition)
        return;
    std::fprintf(stderr, "broken: %s\n", what);
    std::abort();
}

} // namespace kelo
