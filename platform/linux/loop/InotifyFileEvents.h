#pragma once

#include "core/watch/FileEvents.h"

namespace kelo {

class EventLoop;

/// File events through inotify. Where the kernel has no instance or no watch left, of which each user has only so many,
/// the handler is called every ten seconds instead.
///
/// A running executable that is unlinked or renamed over keeps its inode alive, so that no deletion is ever reported
/// for it: the number of its links changes, which is an event of its attributes. Those are reported for a touched file,
/// too.
///
/// That event is sent before the name is gone, and none comes later. A file without a link counts as gone, whatever its
/// path says, and every event is followed by a few more checks, for a file that keeps another of its names.
class InotifyFileEvents : public FileEvents {
public:
    /// Urgent events wait for no task that is queued, at the cost of a system call for each task. A helper that was
    /// replaced leaves whatever is queued.
    enum class Urgency { urgent, ordinary };

    /// `loop` is borrowed.
    InotifyFileEvents(EventLoop& loop, Urgency urgency) : loop_(loop), urgency_(urgency) {}

    /// None also when the executable no longer has a name at the time of the call.
    std::optional<std::string> ownExecutable() override;
    std::optional<FileIdentity> identify(const std::string& path) const override;
    [[nodiscard]] std::unique_ptr<FileEventSource> watch(const std::string& path,
                                                         std::function<void()> onEvent) override;

private:
    EventLoop& loop_;
    const Urgency urgency_;
};

} // namespace kelo
