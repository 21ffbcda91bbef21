#pragma once

#include <cerrno>
#include <system_error>

namespace kelo {

/// Throws `std::system_error` with `errno`; `what` names the failed call.
[[noreturn]] inline void throwErrno(const char* what) { throw std::system_error(errno, std::generic_category(), what); }

} // namespace kelo
