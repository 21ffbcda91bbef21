#pragma once

#include <array>
#include <cstdlib>

/// Included first in sources that contain all their mutants. Activates one mutant, and records the mutants that are
/// reached.
namespace kelo_mutants {

inline constexpr int maximum = 100'000;

/// For each mutant, whether it has been reached. Any thread may write to the array, but only true.
inline std::array<bool, maximum>& reached() {
    static std::array<bool, maximum> all{};
    return all;
}

/// The number of the active mutant; 0 if there is none.
inline int active() {
    static const int number = [] {
        const char* const text = std::getenv("KELO_MUTANT");
        return text == nullptr ? 0 : std::atoi(text);
    }();
    return number;
}

inline bool mutant(int number) {
    reached()[static_cast<std::size_t>(number)] = true;
    return number == active();
}

/// Like `mutant`, but can be used in constant expressions. No mutant is active while the compiler evaluates them.
constexpr bool constantMutant(int number) {
    if (__builtin_is_constant_evaluated())
        return false;
    return mutant(number);
}

} // namespace kelo_mutants
