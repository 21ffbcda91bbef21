#pragma once

#include <cerrno>
#include <system_error>

namespace kelo {

/// Throws a `std::system_error` for `errno`; `what` names the call that failed.
[[noreturn]] inline void throwErrno(const char* what) { throw std::system_error(errno, std::generic_category(), what); }

} // namespace kelo
