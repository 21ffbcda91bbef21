#pragma once

#include <memory>
#include <string>

#include "client/HelperConnection.h"

namespace kelo {

/// A connection to the Mach service `machServiceName` of the system's launchd, which starts the helper when it is not
/// running. Talks only to a helper whose code signature satisfies `requirement`. Throws `HelperUnreachable` when the
/// requirement is refused; whether the service is available shows at the first request.
std::unique_ptr<HelperConnection> makeXPCHelperConnection(const std::string& machServiceName,
                                                          const std::string& requirement);

} // namespace kelo
