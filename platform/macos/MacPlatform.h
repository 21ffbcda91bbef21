#pragma once

#include "helper/Platform.h"
#include "platform/macos/DispatchMainQueue.h"
#include "platform/macos/DispatchSignals.h"
#include "platform/macos/IOKitClamshell.h"
#include "platform/macos/IOKitExchange.h"
#include "platform/macos/IOKitPowerNotifications.h"
#include "platform/macos/SecuritySigningInformation.h"
#include "platform/macos/VnodeFileEvents.h"
#include "platform/posix/PosixFanSystem.h"

namespace kelo {

/// The helper's macOS. To be made on the main thread, before anything else opens a file.
class MacPlatform : public Platform {
public:
    MacPlatform();

    MainQueue& mainQueue() override { return mainQueue_; }
    SMCExchange& smcExchange() override { return smcExchange_; }
    FanSystem& fanSystem() override { return fanSystem_; }
    PowerNotifications& powerNotifications() override { return powerNotifications_; }
    Clamshell& clamshell() override { return clamshell_; }
    FileEvents& fileEvents() override { return fileEvents_; }
    Signals& signals() override { return signals_; }
    SigningInformation& signingInformation() override { return signingInformation_; }

    std::unique_ptr<SystemLog> makeSystemLog(const std::string& subsystem, const std::string& category) override;
    std::unique_ptr<Listener> makeListener(const std::string& machServiceName) override;

    double wallClock() override;
    void writeStandardError(const std::string& bytes) override;

    void runMainLoop() override;
    void exit(int status) override;

private:
    DispatchMainQueue mainQueue_;
    IOKitExchange smcExchange_;
    PosixFanSystem fanSystem_;
    IOKitPowerNotifications powerNotifications_;
    IOKitClamshell clamshell_;
    VnodeFileEvents fileEvents_;
    DispatchSignals signals_;
    SecuritySigningInformation signingInformation_;
};

} // namespace kelo
