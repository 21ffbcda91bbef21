#pragma once

#include <CoreFoundation/CoreFoundation.h>
#include <IOKit/IOKitLib.h>

#include <cstdint>
#include <functional>
#include <set>
#include <string>
#include <vector>

namespace kelo::doubles {

/// The kernel behind IOKit: what a test may change, and what it may see.
struct IOKitKernel {
    std::set<std::string> services = {"AppleSMC", "IOPMrootDomain"};
    bool isMatchingFailing = false; ///< IOServiceMatching returns NULL.

    // The user client of AppleSMC.
    kern_return_t openStatus = KERN_SUCCESS;
    /// Fills the 80 bytes of the reply; returns what the exchange returns.
    std::function<kern_return_t(const void* request, void* reply)> driver;
    int openConnections = 0;

    // The root power domain.
    bool isRegistrationFailing = false;  ///< IORegisterForSystemPower returns 0 and leaves the port untouched.
    bool isPortMissing = false;          ///< It returns a connection, but no port.
    bool isRunLoopSourceMissing = false; ///< The port has no run-loop source.
    kern_return_t allowStatus = KERN_SUCCESS;
    bool isMemoryShort = false;         ///< The first allocation of a power callback fails.
    std::vector<std::intptr_t> allowed; ///< The notifications that were answered, in order.

    /// Makes the property "AppleClamshellState"; the caller owns what it returns. Null for an absent one.
    std::function<CFTypeRef()> clamshellState = [] { return nullptr; };
};

IOKitKernel& kernel();

/// Queues a message for every registration. The main loop delivers it to those that are still registered and whose
/// run-loop source it has.
void sendPowerMessage(std::uint32_t messageType, std::intptr_t argument);
/// Sends the message with a null refcon.
void sendPowerMessageWithoutRefcon(std::uint32_t messageType, std::intptr_t argument);

void resetIOKit();

} // namespace kelo::doubles
