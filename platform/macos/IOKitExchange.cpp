#include "platform/macos/IOKitExchange.h"

#include <IOKit/IOKitLib.h>
#include <mach/mach.h>

#include "platform/macos/IOKitObject.h"

namespace kelo {

namespace {

// Both constants belong to the driver's private interface.
constexpr std::uint32_t userClientType = 0;
constexpr std::uint32_t exchangeSelector = 2;

} // namespace

std::uint32_t IOKitExchange::open() {
    const auto service = IOKitObject::matchingService("AppleSMC");
    if (!service)
        return 0;
    io_connect_t connection = IO_OBJECT_NULL;
    const kern_return_t status = IOServiceOpen(service.get(), mach_task_self(), userClientType, &connection);
    return status == KERN_SUCCESS ? connection : 0;
}

bool IOKitExchange::exchange(std::uint32_t connection, const SMCKeyData& request, SMCKeyData& reply) noexcept {
    std::size_t replySize = sizeof reply; // an in-out argument that every call overwrites
    return IOConnectCallStructMethod(connection, exchangeSelector, &request, sizeof request, &reply, &replySize) ==
           KERN_SUCCESS;
}

void IOKitExchange::close(std::uint32_t connection) noexcept {
    IOServiceClose(connection); // a failure has no effect: the connection is not used again
}

} // namespace kelo
