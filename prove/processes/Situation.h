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

/// What belongs to one try: clients, and what disturbs the helper.
struct Setting {
    std::unique_ptr<ChildProcess> client;
    std::unique_ptr<RawClient> rawClient;
    std::optional<FakeLogDaemon> log;
    std::optional<UnreadStream> standardError;
};

/// Something that keeps the helper busy, or its surroundings from answering, when it is asked to leave.
struct Situation {
    std::string name;
    std::string profile; ///< The kind of Mac.
    double longestWait;  ///< Seconds in this situation before the signal; each try waits for a part of them.
    double bound;        ///< Seconds within which every fan is automatic, without what the machine itself costs.
    int sideBySide;      ///< How many tries at a time: many where they mostly wait. A helper watches two files, and a
                         ///< user may have 128 inotify instances.
    /// Starts the helper and brings it into the situation. A fan is manual when it returns.
    std::function<Setting(StagedMac&, int number)> enter;
};

/// Undisturbed first. `fewestDescriptors` are those with which a helper holds for one client after another.
std::vector<Situation> situations(int fewestDescriptors);

/// Tries it out on `mac`.
int fewestDescriptorsToHold(StagedMac& mac);

} // namespace kelo
