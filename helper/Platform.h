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

/// Everything that the helper takes from its operating system.
struct Platform {
    MachineParts machine;
    FileEvents& files;
    Signals& signals;
    SigningInformation& signing;
    LogOutput& logOutput;

    std::function<std::unique_ptr<SystemLog>(const std::string& subsystem, const std::string& category)> makeSystemLog;
    std::function<std::unique_ptr<Listener>(const std::string& machServiceName)> makeListener;
    /// Runs the main loop. Does not return in practice.
    std::function<void()> runMainLoop;
    /// Ends the process. Throws nothing.
    std::function<void(int status)> exit;
};

/// The platform that the helper was built for, to be kept as long as the process lives. Call once, on the main thread,
/// before anything else.
std::shared_ptr<const Platform> makePlatform();

} // namespace kelo
