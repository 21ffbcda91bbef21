#pragma once

#include <string>

namespace kelo {

/// The name of a service's socket in the simulated Mac's folder.
inline std::string serviceSocketName(const std::string& service) { return service + ".socket"; }

} // namespace kelo
