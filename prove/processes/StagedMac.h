#pragma once

#include <filesystem>
#include <memory>
#include <string>

#include "platform/linux/hardware/SimulatedMacFolder.h"
#include "simulator/link/HardwareLink.h"
#include "testing/process/Installation.h"

namespace kelo {

/// A copy of a staged installation, and a simulated Mac that runs in it. Single-threaded.
class StagedMac {
public:
    /// `staged` contains the signed programs and the anchor. The copy in `folder` is not removed. Throws
    /// `std::exception`.
    StagedMac(std::filesystem::path staged, const std::filesystem::path& folder, const std::string& profile);

    Installation& installation() { return installation_; }
    /// Copies a program from `staged` again. Replaces it by renaming, so that a running program is not modified.
    void install(const std::string& program);

    /// Starts the helper. Throws `std::runtime_error` if it does not listen within `seconds`.
    void startHelper(const LaunchEnvironment& environment = {}, double seconds = 30);
    ChildProcess& helper() { return installation_.helper(); }

    /// Starts a client that holds the fans. Throws `std::runtime_error` if its hold has not started within `seconds`.
    std::unique_ptr<ChildProcess> startHold(double seconds = 20);

    template <typename Call>
    typename Call::Answer call(const Call& call) {
        return link_->call(call);
    }
    bool isAnyFanManual();
    /// Whether a fan is manual because the helper took it. A fan that another program took does not count.
    bool isAnyFanHeld();

private:
    const std::filesystem::path staged_;
    Installation installation_;
    std::unique_ptr<SimulatedMacFolder> macFolder_;
    std::unique_ptr<HardwareLink> link_;
};

/// Seconds from `start`, on the Mac's clock, until the last fan became automatic and stayed automatic. Requires that no
/// fan is manual now and that only the helper has handed fans back.
double untilAutomatic(const hardware_calls::MacState& mac, double start);

} // namespace kelo
