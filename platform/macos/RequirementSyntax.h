#pragma once

#include <string>

namespace kelo {

/// Whether `requirement` parses as a code-signing requirement. Any thread.
bool isWellFormedRequirement(const std::string& requirement);

} // namespace kelo
