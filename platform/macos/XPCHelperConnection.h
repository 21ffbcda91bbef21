#pragma once

#include <memory>
#include <string>

#include "client/HelperConnection.h"

namespace kelo {

/// Connects to the Mach service `machServiceName` of the system's launchd. If the helper is not running, launchd starts
/// it. Accepts only a helper whose code signature satisfies `requirement`. Throws `HelperUnreachable` if the system
/// refuses the requirement. If there is no such service, the first request throws.
std::unique_ptr<HelperConnection> makeXPCHelperConnection(const std::string& machServiceName,
                                                          const std::string& requirement);

} // namespace kelo
