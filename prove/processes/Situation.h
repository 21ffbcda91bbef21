#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "prove/processes/StagedMac.h"
#include "testing/FakeLogDaemon.h"
#include "testing/process/RawClient.h"
#include "testing/process/UnreadStream.h"

namespace kelo {

/// The clients and disturbances of one try.
struct Setting {
    std::unique_ptr<ChildProcess> client;
    std::unique_ptr<RawClient> rawClient;
    std::optional<FakeLogDaemon> log;
    std::optional<UnreadStream> standardError;
};

/// A condition that delays the helper's exit: the helper is busy, or other processes do not respond.
struct Situation {
    std::string name;
    std::string profile; ///< The kind of Mac.
    double longestWait;  ///< Each try waits a random time of up to this many seconds before the signal.
    double bound;        ///< Seconds until every fan must be automatic, without the allowance for a busy machine.
    int sideBySide;      ///< Number of concurrent tries; higher if they mostly wait. Each helper uses two of the 128
                         ///< inotify instances that a user may have.
    /// Starts the helper and creates the situation. A fan is manual on return.
    std::function<Setting(StagedMac&, int number)> enter;
};

/// All situations, starting with an undisturbed one. `fewestDescriptors` is the result of `fewestDescriptorsToHold`.
std::vector<Situation> situations(int fewestDescriptors);

/// Returns the lowest descriptor limit at which a helper can hold for one client after another. Tries limits on `mac`.
int fewestDescriptorsToHold(StagedMac& mac);

} // namespace kelo
