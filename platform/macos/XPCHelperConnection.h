#pragma once

#include <memory>
#include <string>

#include "client/HelperConnection.h"

namespace kelo {

/// Connects to the Mach service `machServiceName` of the system's launchd, which starts the helper if it is not
/// running. Accepts only a helper whose code signature satisfies `requirement`. Throws `HelperUnreachable` if the
/// requirement is refused; a missing service is reported by the first request.
std::unique_ptr<HelperConnection> makeXPCHelperConnection(const std::string& machServiceName,
                                                          const std::string& requirement);

} // namespace kelo
