#pragma once

#include <cerrno>
#include <system_error>

namespace kelo {

/// Throws the error in `errno` for the call `what`.
[[noreturn]] inline void throwErrno(const char* what) { throw std::system_error(errno, std::generic_category(), what); }

} // namespace kelo
