#pragma once

#include <string>

#include "platform/posix/FileDescriptor.h"

namespace kelo {

/// Opens the folder of the running executable (O_PATH), so that it stays the same one when it is moved. The helper, its
/// clients and the simulated Mac find each other there. Invalid when no descriptor is left.
FileDescriptor openInstallation();

/// The name of a service's socket in the installation's folder, which any user may connect to.
inline std::string serviceSocketName(const std::string& service) { return service + ".socket"; }

} // namespace kelo
