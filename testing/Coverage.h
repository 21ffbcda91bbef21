#pragma once

#ifdef KELO_COVERAGE
/// Part of the compiler's run-time library.
extern "C" int __llvm_profile_write_file();
#endif

namespace kelo {

/// Saves the coverage of a process that a test has forked. Call before `_exit`, which would lose the coverage.
inline void saveCoverage() {
#ifdef KELO_COVERAGE
    __llvm_profile_write_file();
#endif
}

} // namespace kelo
