#pragma once

#include <compare>
#include <cstddef>

namespace kelo {

/// What a program that links this has allocated with its operators new and not freed.
struct MemoryInUse {
    std::size_t allocations;
    std::size_t bytes;

    auto operator<=>(const MemoryInUse&) const = default;
};

MemoryInUse memoryInUse();

} // namespace kelo
