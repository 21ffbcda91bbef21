#include "platform/linux/loop/InotifyFileEvents.h"

#include <linux/limits.h>
#include <sys/inotify.h>
#include <sys/stat.h>

#include <array>
#include <new>
#include <system_error>
#include <utility>

#include "platform/linux/loop/EventLoop.h"
#include "platform/posix/FileDescriptor.h"
#include "platform/posix/FileStatus.h"

namespace kelo {
namespace {

using Urgency = InotifyFileEvents::Urgency;

constexpr const char* ownExecutableLink = "/proc/self/exe";

/// Seconds between the checks that follow an event: the kernel may take a while to remove the name.
constexpr std::array<double, 4> pauses = {0.01, 0.1, 1, 10};

constexpr double checkInterval = 10; // seconds between checks if the kernel sends no events

class InotifySource : public FileEventSource {
public:
    InotifySource(EventLoop& loop, Urgency urgency, FileDescriptor inotify, std::function<void()> onEvent)
        : loop_(loop), inotify_(std::move(inotify)),
          onEvent_(std::make_shared<const std::function<void()>>(std::move(onEvent))), watch_(watch(urgency)) {}

    void cancel() override {
        watch_.reset();
        nextCheck_.reset();
    }

private:
    std::unique_ptr<DescriptorWatch> watch(Urgency urgency) {
        auto onReadable = [this] {
            drain();
            check(0);
        };
        return urgency == Urgency::urgent ? loop_.watchUrgent(inotify_.get(), onReadable)
                                          : loop_.watch(inotify_.get(), EventLoop::Readiness::readable, onReadable);
    }

    /// Discards the events: the handler checks the path itself.
    void drain() {
        alignas(inotify_event) char events[4096];
        while (read(inotify_.get(), events, sizeof events) > 0) {
        }
    }

    void check(std::size_t number) {
        nextCheck_.reset();
        const auto onEvent = onEvent_; // the handler may cancel or destroy the source
        try {
            if (number < pauses.size())
                nextCheck_ = loop_.scheduleTimer(pauses[number], false, [this, number] { check(number + 1); });
        } catch (const std::bad_alloc&) { // NOLINT(bugprone-empty-catch): only later checks are lost
        }
        (*onEvent)();
    }

    EventLoop& loop_;
    FileDescriptor inotify_;
    const std::shared_ptr<const std::function<void()>> onEvent_; ///< Shared: copying it allocates nothing.
    std::unique_ptr<DescriptorWatch> watch_;
    std::unique_ptr<Timer> nextCheck_;
};

/// Calls the handler at fixed intervals if inotify is unavailable.
class TimedSource : public FileEventSource {
public:
    TimedSource(EventLoop& loop, std::function<void()> onCheck)
        : timer_(loop.scheduleTimer(checkInterval, true, std::move(onCheck))) {}

    void cancel() override { timer_->invalidate(); }

private:
    const std::unique_ptr<Timer> timer_;
};

} // namespace

std::optional<std::string> InotifyFileEvents::ownExecutable() {
    struct stat file {};
    // For a deleted file, the link contains the old path followed by " (deleted)".
    if (stat(ownExecutableLink, &file) != 0 || file.st_nlink == 0)
        return std::nullopt;
    char path[PATH_MAX];
    const auto length = readlink(ownExecutableLink, path, sizeof path);
    if (length <= 0 || length == sizeof path)
        return std::nullopt;
    return std::string(path, static_cast<std::size_t>(length));
}

std::optional<FileIdentity> InotifyFileEvents::identify(const std::string& path) const {
    return identityAt(path.c_str());
}

std::unique_ptr<FileEventSource> InotifyFileEvents::watch(const std::string& path, std::function<void()> onEvent) {
    if (!identify(path))
        return nullptr;
    FileDescriptor inotify(inotify_init1(IN_CLOEXEC | IN_NONBLOCK));
    try {
        if (inotify.isValid() &&
            inotify_add_watch(inotify.get(), path.c_str(), IN_ATTRIB | IN_DELETE_SELF | IN_MOVE_SELF) >= 0)
            return std::make_unique<InotifySource>(loop_, urgency_, std::move(inotify), onEvent);
    } catch (const std::system_error&) { // the kernel has no room for another watch
    }
    return std::make_unique<TimedSource>(loop_, std::move(onEvent));
}

} // namespace kelo
