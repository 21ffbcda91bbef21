#pragma once

#include <CoreFoundation/CoreFoundation.h>
#include <IOKit/IOKitLib.h>

#include <cstdint>
#include <functional>
#include <set>
#include <string>
#include <vector>

namespace kelo::doubles {

/// The simulated kernel behind IOKit: settings and results.
struct IOKitKernel {
    std::set<std::string> services = {"AppleSMC", "IOPMrootDomain"};
    bool isMatchingFailing = false; ///< IOServiceMatching returns NULL.

    // The user client of AppleSMC.
    kern_return_t openStatus = KERN_SUCCESS;
    /// Fills the 80-byte reply and returns the status of the exchange.
    std::function<kern_return_t(const void* request, void* reply)> driver;
    int openConnections = 0;

    // The root power domain.
    bool isRegistrationFailing = false;  ///< IORegisterForSystemPower returns 0 and leaves the port untouched.
    bool isPortMissing = false;          ///< IORegisterForSystemPower returns a connection, but no port.
    bool isRunLoopSourceMissing = false; ///< The port has no run-loop source.
    kern_return_t allowStatus = KERN_SUCCESS;
    bool isMemoryShort = false;         ///< The first allocation of a power callback fails.
    std::vector<std::intptr_t> allowed; ///< The acknowledged notifications, in order.

    /// Creates the value of "AppleClamshellState", which the caller owns. Returns null if the property is absent.
    std::function<CFTypeRef()> clamshellState = [] { return nullptr; };
};

IOKitKernel& kernel();

/// Queues a message for every registration. The main loop delivers it if the registration and its run-loop source still
/// exist.
void sendPowerMessage(std::uint32_t messageType, std::intptr_t argument);
/// Like `sendPowerMessage`, but passes a null refcon to the callback.
void sendPowerMessageWithoutRefcon(std::uint32_t messageType, std::intptr_t argument);

void resetIOKit();

} // namespace kelo::doubles
