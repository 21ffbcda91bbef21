#pragma once

#include "core/watch/FileEvents.h"

namespace kelo {

class EventLoop;

/// File events through inotify. If the user's limit of instances or watches is reached, calls the handler every ten
/// seconds instead.
///
/// If a running executable is unlinked or replaced, its inode stays alive. The kernel then reports an attribute change
/// instead of a deletion, since the number of links changes. Touching the file causes the same event.
///
/// The event arrives before the name is removed, and no further event follows. So a file without a link counts as gone
/// even if its path still exists, and a few more checks follow each event, in case the file has another name.
class InotifyFileEvents : public FileEvents {
public:
    /// Urgent events do not wait for queued tasks, so that a replaced helper exits even if tasks are queued. They cost
    /// one system call per task.
    enum class Urgency { urgent, ordinary };

    /// `loop` is borrowed.
    InotifyFileEvents(EventLoop& loop, Urgency urgency) : loop_(loop), urgency_(urgency) {}

    /// Returns nullopt if the path is unknown or the executable no longer has a name.
    std::optional<std::string> ownExecutable() override;
    std::optional<FileIdentity> identify(const std::string& path) const override;
    [[nodiscard]] std::unique_ptr<FileEventSource> watch(const std::string& path,
                                                         std::function<void()> onEvent) override;

private:
    EventLoop& loop_;
    const Urgency urgency_;
};

} // namespace kelo
