#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "core/watch/FileEvents.h"

namespace kelo {

/// Notices that the file at a path is no longer the one that was there: this is how a running helper learns that an
/// update has replaced it.
///
/// What counts is the file's identity, never the kind of event: a file that is touched, rewritten in place or loses
/// another of its hard links is still the same one. Made and destroyed on the main thread.
class BinaryWatch {
public:
    /// The path of the running process's executable, or none.
    static std::optional<std::string> ownExecutable(FileEvents& events);

    /// `events` is borrowed. `onReplaced` is called on the main queue, at most once, when an event or `look` shows that
    /// the file was deleted, moved or replaced; it must not destroy the watch. Never called for a file that could not
    /// be examined.
    BinaryWatch(std::string path, FileEvents& events, std::function<void()> onReplaced);
    BinaryWatch(const BinaryWatch&) = delete;
    BinaryWatch& operator=(const BinaryWatch&) = delete;
    ~BinaryWatch();

    const std::string& path() const { return path_; }

    /// Whether the file at the path is still the one recorded; looked up at every call, from any thread. Always true
    /// for a file that could not be examined at the start, so that clients are never turned away for a reason that is
    /// not known.
    bool isCurrent() const;

    /// Calls `onReplaced` if the file is no longer the one recorded. No event tells of a parent folder that is moved,
    /// or of another file that is mounted over this one. Main thread only.
    void look();

private:
    const std::string path_;
    FileEvents& events_;
    const std::optional<FileIdentity> identity_;
    const std::function<void()> onReplaced_;
    bool isReplaced_ = false; ///< `onReplaced_` has been called.
    std::unique_ptr<FileEventSource> source_;
};

} // namespace kelo
