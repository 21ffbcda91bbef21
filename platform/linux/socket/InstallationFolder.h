#pragma once

#include <string>

#include "platform/posix/FileDescriptor.h"

namespace kelo {

/// The folder of the running executable, with a slash at its end; empty when the system does not report it. The helper,
/// its clients and the simulated Mac find each other there.
std::string installationPath();

/// Opens the folder (O_PATH), so that it stays the same one when it is moved. Invalid when no descriptor is left.
FileDescriptor openInstallation();

/// The name of a service's socket in the installation's folder, which any user may connect to.
inline std::string serviceSocketName(const std::string& service) { return service + ".socket"; }

} // namespace kelo
