#include "platform/macos/MacPlatform.h"

#include <CoreFoundation/CoreFoundation.h>

#include <chrono>
#include <cstdlib>

#include "platform/macos/UnifiedLog.h"
#include "platform/macos/XPCListener.h"
#include "platform/posix/StandardStreams.h"

namespace kelo {

MacPlatform::MacPlatform() { StandardStreams::prepare(); }

std::unique_ptr<SystemLog> MacPlatform::makeSystemLog(const std::string& subsystem, const std::string& category) {
    return makeUnifiedLog(subsystem, category);
}

std::unique_ptr<Listener> MacPlatform::makeListener(const std::string& machServiceName) {
    return makeXPCListener(machServiceName);
}

double MacPlatform::wallClock() {
    return std::chrono::duration<double>(std::chrono::system_clock::now().time_since_epoch()).count();
}

void MacPlatform::writeStandardError(const std::string& bytes) { StandardStreams::writeError(bytes); }

// Drains the main dispatch queue, too; on the main thread it is never without work to wait for.
void MacPlatform::runMainLoop() { CFRunLoopRun(); }

void MacPlatform::exit(int status) { std::exit(status); }

std::unique_ptr<Platform> makePlatform() { return std::make_unique<MacPlatform>(); }

} // namespace kelo
