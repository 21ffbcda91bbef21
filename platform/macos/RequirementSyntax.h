#pragma once

#include <string>

namespace kelo {

/// Whether `requirement` is a sentence of the code requirement language. Any thread.
bool isWellFormedRequirement(const std::string& requirement);

} // namespace kelo
