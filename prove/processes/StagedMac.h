#pragma once

#include <filesystem>
#include <memory>
#include <string>

#include "platform/linux/hardware/SimulatedMacFolder.h"
#include "simulator/link/HardwareLink.h"
#include "testing/process/Installation.h"

namespace kelo {

/// A copy of a staged installation and a simulated Mac that runs in it. One thread.
class StagedMac {
public:
    /// `staged` holds the signed programs and the anchor. The copy is made in `folder` and stays there. Throws
    /// `std::exception`.
    StagedMac(std::filesystem::path staged, const std::filesystem::path& folder, const std::string& profile);

    Installation& installation() { return installation_; }
    /// Puts a program there anew, by renaming: one that runs is replaced, not written to.
    void install(const std::string& program);

    /// Starts the helper; throws `std::runtime_error` when it does not listen within `seconds`.
    void startHelper(const LaunchEnvironment& environment = {}, double seconds = 30);
    ChildProcess& helper() { return installation_.helper(); }

    /// A client that holds; throws `std::runtime_error` when it does not within `seconds`.
    std::unique_ptr<ChildProcess> startHold(double seconds = 20);

    /// Makes a call on the simulated Mac.
    template <typename Call>
    typename Call::Answer call(const Call& call) {
        return link_->call(call);
    }
    bool isAnyFanManual();
    /// Whether the helper has taken a fan that is manual; what another program has taken is not held.
    bool isAnyFanHeld();

private:
    const std::filesystem::path staged_;
    Installation installation_;
    std::unique_ptr<SimulatedMacFolder> macFolder_;
    std::unique_ptr<HardwareLink> link_;
};

/// The seconds from `start`, on the Mac's clock, until the last fan was automatic for good. No fan may be manual, and
/// nobody but the helper may have given one back.
double untilAutomatic(const hardware_calls::MacState& mac, double start);

} // namespace kelo
