#pragma once

#ifdef KELO_COVERAGE
/// Of the compiler's run-time library.
extern "C" int __llvm_profile_write_file();
#endif

namespace kelo {

/// To be called before `_exit` in a process that a test has forked: its coverage would be lost.
inline void saveCoverage() {
#ifdef KELO_COVERAGE
    __llvm_profile_write_file();
#endif
}

} // namespace kelo
