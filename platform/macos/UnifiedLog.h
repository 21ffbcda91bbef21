#pragma once

#include <memory>
#include <string>

#include "helper/SystemLog.h"

namespace kelo {

/// One category of the unified log. A message is stored as public text; notices go out at the default level. The system
/// cuts what is longer than about a kilobyte.
std::unique_ptr<SystemLog> makeUnifiedLog(const std::string& subsystem, const std::string& category);

} // namespace kelo
