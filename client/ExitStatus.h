#pragma once

/// What a program with commands tells its caller.
namespace kelo::exit_status {

constexpr int done = 0;
constexpr int failed = 1; ///< The command was refused, or did not have its effect; standard error has the reason.
constexpr int wrongUsage = 2;
constexpr int unreachable = 3;  ///< The helper cannot be reached, refused the connection, or does not answer.
constexpr int otherVersion = 4; ///< Helper and client are of different interface versions.
constexpr int cannotWrite = 5;  ///< Standard output cannot be written.

} // namespace kelo::exit_status
