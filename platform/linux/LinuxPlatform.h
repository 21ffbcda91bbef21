#pragma once

#include "helper/Platform.h"
#include "platform/linux/hardware/SimulatedMacClamshell.h"
#include "platform/linux/hardware/SimulatedMacExchange.h"
#include "platform/linux/hardware/SimulatedMacPowerNotifications.h"
#include "platform/linux/hardware/SimulatedMacRights.h"
#include "platform/linux/loop/EventLoop.h"
#include "platform/linux/loop/InotifyFileEvents.h"
#include "platform/linux/loop/SignalfdSignals.h"
#include "platform/linux/signing/InstalledAnchor.h"
#include "platform/linux/signing/TrailerSigningInformation.h"
#include "platform/linux/socket/SimulatedMacFolder.h"
#include "platform/linux/socket/server/SocketListener.h"
#include "platform/posix/PosixClock.h"
#include "platform/posix/StandardErrorOutput.h"

namespace kelo {

/// Linux, with the simulated Mac beside the executable as its hardware.
class LinuxPlatform {
public:
    explicit LinuxPlatform(const ConnectionLimits& limits = {});

    const Platform& platform() const { return platform_; }

private:
    Platform assemble();
    std::unique_ptr<Listener> makeListener(const std::string& machServiceName);
    void exit(int status);

    const ConnectionLimits limits_;
    SimulatedMacFolder folder_;
    const bool isAlone_ = folder_.claim();
    const int hardware_ = isAlone_ ? folder_.descriptor() : -1; ///< Leads nowhere while another helper runs here.
    EventLoop loop_;
    SimulatedMacExchange exchange_;
    PosixClock clock_;
    SimulatedMacRights rights_;
    SimulatedMacPowerNotifications power_;
    SimulatedMacClamshell clamshell_;
    InotifyFileEvents files_;
    SignalfdSignals signals_;
    const InstalledAnchor anchor_;
    TrailerSigningInformation signing_;
    StandardErrorOutput logOutput_;
    SocketListener* listener_ = nullptr; ///< Owned by the caller of makeListener; lives as long as the process.
    const Platform platform_;            ///< The above, as the helper sees it.
};

} // namespace kelo
