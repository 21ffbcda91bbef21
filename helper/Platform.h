#pragma once

#include <memory>
#include <string>

#include "helper/Listener.h"
#include "helper/LogOutput.h"
#include "helper/SystemLog.h"

namespace kelo {

class Clamshell;
class FanSystem;
class FileEvents;
class MainQueue;
class PowerNotifications;
class Signals;
class SigningInformation;
class SMCExchange;

/// Everything that the helper takes from its operating system. One per process; lives as long as the process.
class Platform : public LogOutput {
public:
    virtual MainQueue& mainQueue() = 0;
    virtual SMCExchange& smcExchange() = 0;
    virtual FanSystem& fanSystem() = 0;
    virtual PowerNotifications& powerNotifications() = 0;
    virtual Clamshell& clamshell() = 0;
    virtual FileEvents& fileEvents() = 0;
    virtual Signals& signals() = 0;
    virtual SigningInformation& signingInformation() = 0;

    virtual std::unique_ptr<SystemLog> makeSystemLog(const std::string& subsystem, const std::string& category) = 0;
    virtual std::unique_ptr<Listener> makeListener(const std::string& machServiceName) = 0;

    /// Runs the main loop. Does not return in practice.
    virtual void runMainLoop() = 0;
    /// Ends the process.
    virtual void exit(int status) = 0;
};

/// The platform that the helper was built for. Call once, on the main thread, before anything else.
std::unique_ptr<Platform> makePlatform();

} // namespace kelo
