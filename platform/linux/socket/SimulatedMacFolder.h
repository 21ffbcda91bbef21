#pragma once

#include <string>

#include "platform/posix/FileDescriptor.h"

namespace kelo {

/// The folder "simulated-mac" beside the running executable: where the simulated Mac, the trust anchor and the
/// service's socket are. It is not configurable: an installation is isolated by its location.
///
/// Kept open, so that it stays the same folder when it is moved.
class SimulatedMacFolder {
public:
    static constexpr const char* name = "simulated-mac";
    /// The trust anchor within the folder.
    static constexpr const char* anchorName = "anchor.pem";

    /// Opens the folder; when there is none, `isPresent` is false and `descriptor` leads nowhere.
    SimulatedMacFolder();
    explicit SimulatedMacFolder(const std::string& path);
    /// Opens the folder, and makes it first if there is none.
    static SimulatedMacFolder makeIfMissing();

    /// Makes this process the folder's one helper, for as long as it lives. False when another one is.
    bool claim();

    bool isPresent() const { return descriptor_.isValid(); }
    int descriptor() const { return descriptor_.get(); }
    /// Whether the process has the rights of the simulated Mac's superuser: it is the system's, or owns the folder.
    bool isOwnedByUs() const;

private:
    FileDescriptor descriptor_;
    FileDescriptor claim_;
};

} // namespace kelo
