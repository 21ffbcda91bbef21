#pragma once

/// What a program with commands tells its caller.
namespace kelo::exit_status {

constexpr int done = 0;
constexpr int failed = 1; ///< The helper refused, where there is one to ask; standard error has the reason.
constexpr int wrongUsage = 2;
constexpr int unreachable = 3; ///< The helper, or it refused the connection.

} // namespace kelo::exit_status
