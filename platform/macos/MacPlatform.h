#pragma once

#include "helper/Platform.h"
#include "platform/macos/DispatchMainQueue.h"
#include "platform/macos/DispatchSignals.h"
#include "platform/macos/IOKitClamshell.h"
#include "platform/macos/IOKitExchange.h"
#include "platform/macos/IOKitPowerNotifications.h"
#include "platform/macos/SecuritySigningInformation.h"
#include "platform/macos/VnodeFileEvents.h"
#include "platform/posix/PosixClock.h"
#include "platform/posix/PosixRights.h"
#include "platform/posix/StandardErrorOutput.h"

namespace kelo {

/// The macOS platform of the helper. Create it on the main thread, before opening any file.
class MacPlatform {
public:
    MacPlatform();

    const Platform& platform() const { return platform_; }

private:
    Platform assemble();

    DispatchMainQueue queue_;
    IOKitExchange exchange_;
    PosixClock clock_;
    PosixRights rights_;
    IOKitPowerNotifications power_;
    IOKitClamshell clamshell_;
    VnodeFileEvents files_;
    DispatchSignals signals_;
    SecuritySigningInformation signing_;
    StandardErrorOutput logOutput_;
    const Platform platform_; ///< Refers to the members above.
};

} // namespace kelo
