#pragma once

#include <memory>
#include <string>

#include "helper/Listener.h"

namespace kelo {

/// Creates the XPC listener for a Mach service that launchd has reserved for this job.
///
/// The system checks each peer against the requirement by its audit token. If no requirement has been accepted, the
/// listener is never resumed and refuses every connection.
std::unique_ptr<Listener> makeXPCListener(const std::string& machServiceName);

} // namespace kelo
