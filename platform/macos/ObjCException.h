#pragma once

#include <functional>
#include <optional>
#include <string>

namespace kelo {

/// Runs `work`. If it raises an Objective-C exception, returns the reason of the exception, otherwise nullopt. `work`
/// must not throw C++ exceptions.
std::optional<std::string> raisedBy(const std::function<void()>& work);

} // namespace kelo
