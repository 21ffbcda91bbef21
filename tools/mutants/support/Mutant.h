#pragma once

#include <array>
#include <cstdlib>

/// Included before everything else in sources that hold all their mutants: chooses one, and notes which are reached.
namespace kelo_mutants {

inline constexpr int maximum = 100'000;

/// Whether each has been asked for. Written by any thread, always to the same value.
inline std::array<bool, maximum>& reached() {
    static std::array<bool, maximum> all{};
    return all;
}

/// The one that is in force; 0 for none.
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

/// For what the compiler may compute: it never sees a mutant.
constexpr bool constantMutant(int number) {
    if (__builtin_is_constant_evaluated())
        return false;
    return mutant(number);
}

} // namespace kelo_mutants
