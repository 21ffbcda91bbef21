#pragma once

#include <memory>
#include <string>

#include "helper/SystemLog.h"

namespace kelo {

/// Creates a log for one category of the unified log. Messages are stored as public text; notices use the default
/// level. The system truncates messages longer than about a kilobyte.
std::unique_ptr<SystemLog> makeUnifiedLog(const std::string& subsystem, const std::string& category);

} // namespace kelo
