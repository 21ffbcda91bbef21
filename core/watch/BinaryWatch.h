#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "core/watch/FileEvents.h"

namespace kelo {

/// Detects that the file at a path has been replaced or removed. The running helper uses it to notice its own update.
///
/// Compares file identities and ignores the kind of an event: a file that was touched or rewritten in place, or that
/// has lost another of its hard links, is still the same file. Create and destroy it on the main thread.
class BinaryWatch {
public:
    /// The path of the running process's executable, or nullopt.
    static std::optional<std::string> ownExecutable(FileEvents& events);

    /// `events` is borrowed. `onReplaced` is called on the main queue, at most once, when an event or `check` finds
    /// that the file was deleted, moved or replaced; it must not destroy the watch. It is never called if the file
    /// could not be examined at the start.
    BinaryWatch(std::string path, FileEvents& events, std::function<void()> onReplaced);
    BinaryWatch(const BinaryWatch&) = delete;
    BinaryWatch& operator=(const BinaryWatch&) = delete;
    ~BinaryWatch();

    const std::string& path() const { return path_; }

    /// Whether the file at the path is still the original one. Examines the file on every call. Any thread. Always true
    /// if the file could not be examined at the start, so that clients are never refused for an unknown reason.
    bool isCurrent() const;

    /// Calls `onReplaced` if the file has been replaced. Needed because no event reports that a parent folder has been
    /// moved or that another file has been mounted over this one. Main thread only.
    void check();

private:
    const std::string path_;
    FileEvents& events_;
    const std::optional<FileIdentity> identity_;
    const std::function<void()> onReplaced_;
    bool isReplaced_ = false; ///< `onReplaced_` has been called.
    std::unique_ptr<FileEventSource> source_;
};

} // namespace kelo
