#pragma once

#include <memory>
#include <string>

#include "helper/SystemLog.h"

namespace kelo {

/// Creates a log for one category of the unified log. The log stores messages as public text, and notices at the
/// default level. The system truncates messages that are longer than about a kilobyte.
std::unique_ptr<SystemLog> makeUnifiedLog(const std::string& subsystem, const std::string& category);

} // namespace kelo
