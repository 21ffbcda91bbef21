#pragma once

#include <filesystem>

namespace kelo {

/// Lets 50 clients come and go for so many minutes of real time, and samples what the helper uses. Prints figures.
/// Returns how many of them are not flat, and whether clients were cut off meanwhile or cannot hold at its end.
int proveSoak(const std::filesystem::path& staged, const std::filesystem::path& work, double minutes);

} // namespace kelo
