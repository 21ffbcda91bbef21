#pragma once

#include <cstddef>

namespace kelo::bench {

/// How often the process has allocated memory so far, in a program that links this: its operators new count.
std::size_t allocationsSoFar();

} // namespace kelo::bench
