#pragma once

#ifdef KELO_COVERAGE
/// From the compiler's run-time library.
extern "C" int __llvm_profile_write_file();
#endif

namespace kelo {

/// Call before `_exit` in a process that a test has forked; otherwise its coverage is lost.
inline void saveCoverage() {
#ifdef KELO_COVERAGE
    __llvm_profile_write_file();
#endif
}

} // namespace kelo
