#pragma once

#include <functional>
#include <memory>
#include <string>

#include "core/hold/MachineParts.h"
#include "helper/Listener.h"
#include "helper/SystemLog.h"

namespace kelo {

class FileEvents;
class LogOutput;
class Signals;
class SigningInformation;

struct Platform {
    MachineParts machine;
    FileEvents& files;
    Signals& signals;
    SigningInformation& signing;
    LogOutput& logOutput;

    std::function<std::unique_ptr<SystemLog>(const std::string& subsystem, const std::string& category)> makeSystemLog;
    std::function<std::unique_ptr<Listener>(const std::string& machServiceName)> makeListener;
    /// Runs the main loop. Normally does not return.
    std::function<void()> runMainLoop;
    /// Ends the process. Does not throw.
    std::function<void(int status)> exit;
};

/// Creates the platform that the helper was built for. Call it once, on the main thread, before anything else, and keep
/// the result until the process ends.
std::shared_ptr<const Platform> makePlatform();

} // namespace kelo
