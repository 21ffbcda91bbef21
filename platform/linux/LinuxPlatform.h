#pragma once

#include "helper/HelperLog.h"
#include "helper/Platform.h"
#include "platform/linux/hardware/SimulatedMacFolder.h"
#include "platform/linux/hardware/SimulatedMacHardware.h"
#include "platform/linux/hardware/SimulatedMacPowerNotifications.h"
#include "platform/linux/loop/EventLoop.h"
#include "platform/linux/loop/InotifyFileEvents.h"
#include "platform/linux/loop/SignalfdSignals.h"
#include "platform/linux/signing/TrailerSigningInformation.h"
#include "platform/linux/socket/InstallationFolder.h"
#include "platform/linux/socket/server/SocketListener.h"
#include "platform/posix/PosixClock.h"
#include "platform/posix/StandardErrorOutput.h"

namespace kelo {

/// The platform on Linux. Its hardware is the simulated Mac next to the executable.
class LinuxPlatform {
public:
    explicit LinuxPlatform(const ConnectionLimits& limits = {});

    const Platform& platform() const { return platform_; }

private:
    Platform assemble();
    std::unique_ptr<Listener> makeListener(const std::string& machServiceName);
    void startOverIfPossible();
    void exit(int status);

    const ConnectionLimits limits_;
    const FileDescriptor installation_ = openInstallation();
    SimulatedMacFolder folder_{installation_.get()};
    const std::optional<std::string> obstacle_ = folder_.lock(); ///< The reason why the hardware cannot be used.
    const int hardwareFolder_ = obstacle_ ? -1 : folder_.descriptor();
    EventLoop loop_;
    SimulatedMacHardware hardware_;
    PosixClock clock_;
    SimulatedMacPowerNotifications power_;
    InotifyFileEvents files_;
    SignalfdSignals signals_;
    TrailerSigningInformation signing_;
    StandardErrorOutput logOutput_;
    const HelperLog log_;
    std::unique_ptr<Timer> nextTry_;     ///< Null unless there is an obstacle.
    SocketListener* listener_ = nullptr; ///< Owned by the caller of makeListener; exists until the process ends.
    const Platform platform_;
};

} // namespace kelo
