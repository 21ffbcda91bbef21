#pragma once

/// Exit statuses of the programs that take commands.
namespace kelo::exit_status {

constexpr int done = 0;
constexpr int failed = 1; ///< The command was refused or had no effect; the reason is on standard error.
constexpr int wrongUsage = 2;
constexpr int unreachable = 3;  ///< The helper cannot be reached, refused the connection, or does not answer.
constexpr int otherVersion = 4; ///< The helper and the client have different interface versions.
constexpr int cannotWrite = 5;  ///< Standard output cannot be written.

} // namespace kelo::exit_status
