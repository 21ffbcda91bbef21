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

    /// `events` is borrowed. `onReplaced` is called on the main queue, at most once, when the file was deleted, moved
    /// or replaced; it may destroy the watch. Never called for a file that could not be examined or opened.
    BinaryWatch(std::string path, FileEvents& events, std::function<void()> onReplaced);
    BinaryWatch(const BinaryWatch&) = delete;
    BinaryWatch& operator=(const BinaryWatch&) = delete;
    ~BinaryWatch();

    const std::string& path() const { return path_; }

    /// Whether the file at the path is still the one recorded; looked up at every call, from any thread. Always true
    /// for a file that could not be examined at the start, so that clients are never turned away for a reason that is
    /// not known.
    bool isCurrent() const;

private:
    void fileChanged(const std::function<void()>& onReplaced);

    const std::string path_;
    FileEvents& events_;
    const std::optional<FileIdentity> identity_;
    std::unique_ptr<FileEventSource> source_;
};

} // namespace kelo
