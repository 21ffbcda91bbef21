#pragma once

#include "helper/Platform.h"
#include "platform/linux/hardware/SimulatedMacClamshell.h"
#include "platform/linux/hardware/SimulatedMacExchange.h"
#include "platform/linux/hardware/SimulatedMacPowerNotifications.h"
#include "platform/linux/loop/EventLoop.h"
#include "platform/linux/loop/InotifyFileEvents.h"
#include "platform/linux/loop/SignalfdSignals.h"
#include "platform/linux/signing/InstalledAnchor.h"
#include "platform/linux/signing/TrailerSigningInformation.h"
#include "platform/linux/socket/SimulatedMacFolder.h"
#include "platform/posix/PosixFanSystem.h"

namespace kelo {

class SocketListener;

/// Linux, with the simulated Mac beside the executable as its hardware.
class LinuxPlatform : public Platform {
public:
    LinuxPlatform();
    ~LinuxPlatform() override;

    MainQueue& mainQueue() override { return loop_; }
    SMCExchange& smcExchange() override { return exchange_; }
    FanSystem& fanSystem() override { return fanSystem_; }
    PowerNotifications& powerNotifications() override { return power_; }
    Clamshell& clamshell() override { return clamshell_; }
    FileEvents& fileEvents() override { return fileEvents_; }
    Signals& signals() override { return signals_; }
    SigningInformation& signingInformation() override { return signing_; }

    std::unique_ptr<SystemLog> makeSystemLog(const std::string& subsystem, const std::string& category) override;
    std::unique_ptr<Listener> makeListener(const std::string& machServiceName) override;

    double wallClock() override;
    void writeStandardError(const std::string& bytes) override;

    void runMainLoop() override;
    void exit(int status) override;

private:
    /// Whoever owns the simulated Mac is its superuser.
    class SimulatedMacFanSystem : public PosixFanSystem {
    public:
        explicit SimulatedMacFanSystem(const SimulatedMacFolder& folder) : folder_(folder) {}
        bool isRoot() override { return folder_.isOwnedByUs(); }

    private:
        const SimulatedMacFolder& folder_;
    };

    SimulatedMacFolder folder_;
    EventLoop loop_;
    SimulatedMacExchange exchange_;
    SimulatedMacFanSystem fanSystem_;
    SimulatedMacPowerNotifications power_;
    SimulatedMacClamshell clamshell_;
    InotifyFileEvents fileEvents_;
    SignalfdSignals signals_;
    const InstalledAnchor anchor_;
    TrailerSigningInformation signing_;
    SocketListener* listener_ = nullptr; ///< Owned by whoever asked for it; lives as long as the process.
};

} // namespace kelo
