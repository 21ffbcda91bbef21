#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "core/watch/FileEvents.h"

namespace kelo {

/// Detects that the file at a path has been replaced or removed. A running helper learns this way that it has been
/// updated.
///
/// Compares the file's identity, not the kind of event: a file that is touched, rewritten in place or loses another of
/// its hard links is still the same file. Created and destroyed on the main thread.
class BinaryWatch {
public:
    /// The path of the running process's executable, or nullopt.
    static std::optional<std::string> ownExecutable(FileEvents& events);

    /// `events` is borrowed. `onReplaced` is called on the main queue, at most once, when an event or `check` finds
    /// that the file was deleted, moved or replaced; it must not destroy the watch. Never called if the file could not
    /// be examined at the start.
    BinaryWatch(std::string path, FileEvents& events, std::function<void()> onReplaced);
    BinaryWatch(const BinaryWatch&) = delete;
    BinaryWatch& operator=(const BinaryWatch&) = delete;
    ~BinaryWatch();

    const std::string& path() const { return path_; }

    /// Whether the file at the path is still the original one; examined at every call. Any thread. Always true if the
    /// file could not be examined at the start, so that clients are never refused for an unknown reason.
    bool isCurrent() const;

    /// Calls `onReplaced` if the file has been replaced. Needed because no event reports that a parent folder is moved
    /// or that another file is mounted over this one. Main thread only.
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
