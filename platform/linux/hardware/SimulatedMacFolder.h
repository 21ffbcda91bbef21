#pragma once

#include <optional>
#include <string>

#include "core/fan/Rights.h"
#include "platform/posix/FileDescriptor.h"

namespace kelo {

/// The folder "simulated-mac" next to the running executable. It contains the hardware's sockets, the lock and the
/// trust anchor. The folder's path cannot be configured, so that each installation has a separate simulated Mac.
///
/// The constructor checks that only the owner may enter the folder. So no other user can reach the hardware, and a
/// process that has the folder open counts as the simulated Mac's superuser. The open descriptor still refers to the
/// folder after the folder is moved.
class SimulatedMacFolder : public Rights {
public:
    static constexpr const char* name = "simulated-mac";
    static constexpr const char* anchorName = "anchor.pub";

    SimulatedMacFolder();
    /// Opens "simulated-mac" in the open folder `installation` instead of the executable's folder.
    explicit SimulatedMacFolder(int installation);
    static SimulatedMacFolder makeIfMissing();

    /// Returns the folder's descriptor, or -1 if the folder is missing or other users may enter it. `problem` then
    /// returns the reason as a clause.
    int descriptor() const { return descriptor_.get(); }
    const std::string& problem() const { return problem_; }

    /// Makes this process the folder's only helper for the lifetime of this object. Never waits. Returns the reason for
    /// a failure as a clause, nullopt on success.
    std::optional<std::string> lock();

    bool isRoot() override { return descriptor_.isValid(); }

private:
    FileDescriptor descriptor_;
    std::string problem_;
    FileDescriptor lock_;
};

} // namespace kelo
