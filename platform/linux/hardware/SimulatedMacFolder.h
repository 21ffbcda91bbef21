#pragma once

#include <optional>
#include <string>

#include "core/fan/Rights.h"
#include "platform/posix/FileDescriptor.h"

namespace kelo {

/// The folder "simulated-mac" beside the running executable, with the hardware's sockets, the lock and the trust
/// anchor. Not configurable: an installation is isolated by its location.
///
/// Only its owner may enter it, which is checked when it is opened. So no other user reaches the hardware, and a
/// process that has the folder open is the simulated Mac's superuser. It is kept open, so that it stays the same folder
/// when it is moved.
class SimulatedMacFolder : public Rights {
public:
    static constexpr const char* name = "simulated-mac";
    /// The trust anchor within the folder.
    static constexpr const char* anchorName = "anchor.pub";

    SimulatedMacFolder();
    /// In an open folder other than the executable's.
    explicit SimulatedMacFolder(int installation);
    /// Creates the folder first if there is none.
    static SimulatedMacFolder makeIfMissing();

    /// -1 when there is no folder, or not only its owner may enter it; `problem` says which, as a clause.
    int descriptor() const { return descriptor_.get(); }
    const std::string& problem() const { return problem_; }

    /// Makes this process the folder's one helper until this object ends. Never waits. Returns why it failed, a clause.
    std::optional<std::string> lock();

    bool isRoot() override { return descriptor_.isValid(); }

private:
    FileDescriptor descriptor_;
    std::string problem_;
    FileDescriptor lock_;
};

} // namespace kelo
