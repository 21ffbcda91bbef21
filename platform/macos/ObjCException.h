#pragma once

#include <functional>
#include <optional>
#include <string>

namespace kelo {

/// Runs `work` and returns the reason of the Objective-C exception that it raised, or nullopt. `work` must not throw
/// C++ exceptions.
std::optional<std::string> raisedBy(const std::function<void()>& work);

} // namespace kelo
