#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>

/// The function of a fuzz target. Returns 0, or ends the process if the code under test breaks a promise.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace kelo {

/// Ends the process if a condition does not hold. Unlike `assert`, works in optimised builds.
inline void mustHold(bool condition, const char* what) {
    if (condition)
        return;
    std::fprintf(stderr, "broken: %s\n", what);
    std::abort();
}

} // namespace kelo
