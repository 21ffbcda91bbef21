#pragma once

#include <memory>
#include <string>

#include "helper/Listener.h"

namespace kelo {

/// The XPC listener of a Mach service that launchd has reserved for this job.
///
/// The platform checks each peer against the requirement by its audit token. Without a requirement in force, because
/// none was set or the text was refused, the listener is never resumed and refuses every connection.
std::unique_ptr<Listener> makeXPCListener(const std::string& machServiceName);

} // namespace kelo
