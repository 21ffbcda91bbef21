#include "tests/platform/macos/doubles/IOKitDouble.h"

#include <IOKit/pwr_mgt/IOPMLib.h>

#include <map>
#include <memory>
#include <utility>

#include "tests/platform/macos/doubles/CoreFoundationDouble.h"
#include "tests/platform/macos/doubles/FailingAllocation.h"
#include "tests/platform/macos/doubles/Journal.h"
#include "tests/platform/macos/doubles/MainLoop.h"
#include "tests/platform/macos/doubles/RunLoopDouble.h"

struct IONotificationPort {
    CFRunLoopSourceRef source;
    bool isAlive;
};

namespace kelo::doubles {

namespace {

constexpr kern_return_t invalidDestination = 0x10000003;
constexpr mach_port_t ownTask = 0x203;
constexpr std::size_t recordSize = 80;

struct Registration {
    void* refcon;
    IOServiceInterestCallback callback;
    IONotificationPort* port;
    io_object_t notifier;
    io_connect_t rootPort;
};

/// A right to a Mach port that the code under test holds.
struct Right {
    std::string name;
    bool isConnection;
    int references;
};

IOKitKernel theKernel;
std::map<mach_port_t, Right> rights; // includes released ones, to detect their use
std::vector<std::unique_ptr<IONotificationPort>> ports;
std::vector<Registration> registrations;

mach_port_t makeRight(const std::string& name, bool isConnection) {
    const auto port = static_cast<mach_port_t>(0x1103 + 4 * rights.size());
    rights[port] = {name, isConnection, 1};
    journal().created(name);
    return port;
}

std::string nameOf(mach_port_t port) {
    const auto found = rights.find(port);
    return found == rights.end() ? hex(port) : found->second.name;
}

bool isHeld(mach_port_t port) {
    const auto found = rights.find(port);
    return found != rights.end() && found->second.references > 0;
}

/// Drops one reference to a right. Reports a misuse by `function` if the right is not held.
void dropRight(mach_port_t port, const std::string& function) {
    if (!isHeld(port))
        return journal().misuse(function + " of " + nameOf(port) + ", which is not held");
    --rights.at(port).references;
    journal().destroyed(nameOf(port));
}

std::string classOf(CFDictionaryRef matching) {
    return cfText(static_cast<CFStringRef>(CFDictionaryGetValue(matching, CFSTR("IOProviderClass"))));
}

void deliver(const Registration& registration, std::uint32_t messageType, std::intptr_t argument) {
    if (!isHeld(registration.notifier) || !registration.port->isAlive || !isScheduled(registration.port->source))
        return;
    callWithMemory(kernel().isMemoryShort, [&] {
        registration.callback(registration.refcon, registration.rootPort, messageType,
                              reinterpret_cast<void*>(argument));
    });
}

void post(const Registration& registration, std::uint32_t messageType, std::intptr_t argument) {
    mainLoop().post(
        0, [registration, messageType, argument] { deliver(registration, messageType, argument); },
        MainLoop::Kind::source);
}

} // namespace

IOKitKernel& kernel() { return theKernel; }

void sendPowerMessage(std::uint32_t messageType, std::intptr_t argument) {
    for (const auto& registration : registrations)
        post(registration, messageType, argument);
}

void sendPowerMessageWithoutRefcon(std::uint32_t messageType, std::intptr_t argument) {
    for (auto registration : registrations) {
        registration.refcon = nullptr;
        post(registration, messageType, argument);
    }
}

void resetIOKit() {
    theKernel = IOKitKernel();
    rights.clear();
    registrations.clear();
    ports.clear();
}

} // namespace kelo::doubles

using namespace kelo::doubles;

extern "C" {

mach_port_t mach_task_self_ = ownTask;
const mach_port_t kIOMainPortDefault = MACH_PORT_NULL;

CFMutableDictionaryRef IOServiceMatching(const char* name) {
    journal().add(std::string("IOServiceMatching ") + name);
    if (kernel().isMatchingFailing)
        return nullptr;
    return static_cast<CFMutableDictionaryRef>(
        const_cast<void*>(makeCFDictionary({{"IOProviderClass", makeCFString(name)}})));
}

io_service_t IOServiceGetMatchingService(mach_port_t mainPort, CFDictionaryRef matching) {
    const std::string name = matching == nullptr ? "null" : classOf(matching);
    journal().add("IOServiceGetMatchingService " + name);
    if (mainPort != MACH_PORT_NULL)
        journal().misuse("IOServiceGetMatchingService on a port other than the main port");
    if (matching == nullptr)
        return IO_OBJECT_NULL;
    CFRelease(matching);
    return kernel().services.contains(name) ? makeRight(name, false) : IO_OBJECT_NULL;
}

kern_return_t IOServiceOpen(io_service_t service, task_port_t task, uint32_t type, io_connect_t* connection) {
    journal().add("IOServiceOpen " + nameOf(service) + (task == ownTask ? " own task" : " another task") + " type " +
                  std::to_string(type));
    if (!isHeld(service))
        journal().misuse("IOServiceOpen of a service that is not held");
    if (kernel().openStatus != KERN_SUCCESS) {
        *connection = 0xDEAD; // a failed call may leave any value
        return kernel().openStatus;
    }
    *connection = makeRight("connection", true);
    ++kernel().openConnections;
    return KERN_SUCCESS;
}

kern_return_t IOServiceClose(io_connect_t connection) {
    journal().add("IOServiceClose " + nameOf(connection));
    if (!isHeld(connection) || !rights.at(connection).isConnection) {
        journal().misuse("IOServiceClose of " + nameOf(connection) + ", which is not an open connection");
        return kIOReturnBadArgument;
    }
    if (nameOf(connection) == "connection")
        --kernel().openConnections;
    dropRight(connection, "IOServiceClose");
    return KERN_SUCCESS;
}

kern_return_t IOObjectRelease(io_object_t object) {
    journal().add("IOObjectRelease " + nameOf(object));
    if (isHeld(object) && rights.at(object).isConnection)
        journal().misuse("IOObjectRelease of a connection, whose port IOServiceClose releases");
    dropRight(object, "IOObjectRelease");
    return KERN_SUCCESS;
}

kern_return_t IOConnectCallStructMethod(mach_port_t connection, uint32_t selector, const void* input, size_t inputSize,
                                        void* output, size_t* outputSize) {
    journal().add("IOConnectCallStructMethod " + nameOf(connection) + " selector " + std::to_string(selector) + " " +
                  std::to_string(inputSize) + " in " + std::to_string(*outputSize) + " out");
    const bool hasRoom = *outputSize == recordSize;
    *outputSize = 0;
    if (!isHeld(connection))
        return invalidDestination;
    if (selector != 2 || inputSize != recordSize || !hasRoom || !kernel().driver)
        return kIOReturnBadArgument;
    const kern_return_t status = kernel().driver(input, output);
    if (status == KERN_SUCCESS)
        *outputSize = recordSize;
    return status;
}

CFTypeRef IORegistryEntryCreateCFProperty(io_registry_entry_t entry, CFStringRef key, CFAllocatorRef allocator,
                                          IOOptionBits options) {
    journal().add("IORegistryEntryCreateCFProperty " + nameOf(entry) + " " + cfText(key));
    if (allocator != kCFAllocatorDefault || options != 0 || !isHeld(entry))
        journal().misuse("IORegistryEntryCreateCFProperty with another allocator, options, or a released entry");
    return nameOf(entry) == "IOPMrootDomain" && cfText(key) == "AppleClamshellState" ? kernel().clamshellState()
                                                                                     : nullptr;
}

io_connect_t IORegisterForSystemPower(void* refcon, IONotificationPortRef* port, IOServiceInterestCallback callback,
                                      io_object_t* notifier) {
    journal().add("IORegisterForSystemPower");
    *notifier = IO_OBJECT_NULL;
    if (kernel().isRegistrationFailing)
        return MACH_PORT_NULL;
    const auto rootPort = makeRight("root port", true);
    if (kernel().isPortMissing) {
        journal().destroyed("root port"); // without the port, nothing can be released
        return rootPort;
    }
    auto* const source = static_cast<CFRunLoopSourceRef>(const_cast<void*>(makeCF(CFKind::runLoopSource)));
    ports.push_back(std::make_unique<IONotificationPort>(IONotificationPort{source, true}));
    journal().created("notification port");
    *port = ports.back().get();
    *notifier = makeRight("notifier", false);
    registrations.push_back({refcon, callback, *port, *notifier, rootPort});
    return rootPort;
}

IOReturn IODeregisterForSystemPower(io_object_t* notifier) {
    journal().add("IODeregisterForSystemPower " + nameOf(*notifier));
    dropRight(*notifier, "IODeregisterForSystemPower");
    *notifier = IO_OBJECT_NULL;
    return kIOReturnSuccess;
}

IOReturn IOAllowPowerChange(io_connect_t rootPort, intptr_t notification) {
    journal().add("IOAllowPowerChange " + nameOf(rootPort) + " " + std::to_string(notification));
    if (!isHeld(rootPort))
        journal().misuse("IOAllowPowerChange over a closed connection");
    kernel().allowed.push_back(notification);
    return kernel().allowStatus;
}

CFRunLoopSourceRef IONotificationPortGetRunLoopSource(IONotificationPortRef port) {
    journal().add("IONotificationPortGetRunLoopSource");
    if (!port->isAlive)
        journal().misuse("IONotificationPortGetRunLoopSource of a destroyed port");
    return kernel().isRunLoopSourceMissing ? nullptr : port->source;
}

void IONotificationPortDestroy(IONotificationPortRef port) {
    journal().add("IONotificationPortDestroy");
    if (!std::exchange(port->isAlive, false))
        return journal().misuse("IONotificationPortDestroy of a destroyed port");
    journal().destroyed("notification port");
    CFRelease(port->source);
}

} // extern "C"
