#include "platform/macos/MacPlatform.h"

#include <CoreFoundation/CoreFoundation.h>

#include <cstdlib>

#include "platform/macos/UnifiedLog.h"
#include "platform/macos/XPCListener.h"
#include "platform/posix/StandardStreams.h"

namespace kelo {

MacPlatform::MacPlatform() : platform_(assemble()) {}

Platform MacPlatform::assemble() {
    return {
        .machine = {.queue = queue_,
                    .exchange = exchange_,
                    .clock = clock_,
                    .rights = rights_,
                    .power = power_,
                    .clamshell = clamshell_},
        .files = files_,
        .signals = signals_,
        .signing = signing_,
        .logOutput = logOutput_,
        .makeSystemLog = makeUnifiedLog,
        .makeListener = makeXPCListener,
        .runMainLoop = CFRunLoopRun, // also drains the main dispatch queue; always has a source to wait for
        .exit = [](int status) { std::exit(status); },
    };
}

std::shared_ptr<const Platform> makePlatform() {
    StandardStreams::prepare(); // first, so that no file opened later replaces a closed standard error
    const auto owner = std::make_shared<MacPlatform>();
    return {owner, &owner->platform()};
}

} // namespace kelo
