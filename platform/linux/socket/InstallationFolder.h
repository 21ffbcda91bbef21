#pragma once

#include <string>

#include "platform/posix/FileDescriptor.h"

namespace kelo {

/// Opens the folder of the running executable (O_PATH), where the helper, its clients and the simulated Mac find each
/// other. The descriptor still refers to the folder after the folder is moved. Returns an invalid descriptor if the
/// process has no descriptor left.
FileDescriptor openInstallation();

/// The name of a service's socket in the installation's folder. Any user may connect to it.
inline std::string serviceSocketName(const std::string& service) { return service + ".socket"; }

} // namespace kelo
