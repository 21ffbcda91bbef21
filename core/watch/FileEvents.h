#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace kelo {

/// Names a file by where it is stored, whatever paths lead to it.
struct FileIdentity {
    std::int32_t device;
    std::uint64_t inode;

    bool operator==(const FileIdentity&) const = default;
};

/// A watch on one file. Destroying it cancels it. Main thread only.
class FileEventSource {
public:
    FileEventSource() = default;
    FileEventSource(const FileEventSource&) = delete;
    FileEventSource& operator=(const FileEventSource&) = delete;
    virtual ~FileEventSource() = default;

    /// Ends the watch: its handler is not called again. May be called from the handler itself and more than once.
    virtual void cancel() = 0;
};

/// The file system's information about files and their changes.
class FileEvents {
public:
    FileEvents() = default;
    FileEvents(const FileEvents&) = delete;
    FileEvents& operator=(const FileEvents&) = delete;
    virtual ~FileEvents() = default;

    /// The path of the running process's executable, or none when the system does not report it.
    virtual std::optional<std::string> ownExecutable() = 0;

    /// The identity of the file that `path` leads to, symbolic links followed; none when there is none. Any thread.
    virtual std::optional<FileIdentity> identify(const std::string& path) const = 0;

    /// Opens the file at `path` and calls `onEvent` on the main queue when it is deleted, renamed or revoked. It may
    /// also be called for other reasons, and several times: the handler has to look at the path. Returns nullptr when
    /// the file cannot be opened. Main thread only.
    [[nodiscard]] virtual std::unique_ptr<FileEventSource> watch(const std::string& path,
                                                                 std::function<void()> onEvent) = 0;
};

} // namespace kelo
