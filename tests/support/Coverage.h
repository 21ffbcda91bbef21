#pragma once

/// Of the compiler's run-time library; there only when coverage is measured.
extern "C" int __llvm_profile_write_file() __attribute__((weak));

namespace kelo {

/// To be called before `_exit` in a process that a test has forked: its coverage would be lost.
inline void saveCoverage() {
    if (__llvm_profile_write_file != nullptr)
        __llvm_profile_write_file();
}

} // namespace kelo
