#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace kelo {

/// Identifies a file independently of its paths.
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

    /// Prevents further calls of the handler. May be called from the handler, and more than once.
    virtual void cancel() = 0;
};

class FileEvents {
public:
    FileEvents() = default;
    FileEvents(const FileEvents&) = delete;
    FileEvents& operator=(const FileEvents&) = delete;
    virtual ~FileEvents() = default;

    /// The path of the running process's executable, or nullopt if the system does not report it.
    virtual std::optional<std::string> ownExecutable() = 0;

    /// The identity of the file at `path`, following symbolic links; nullopt if there is no such file. Any thread.
    virtual std::optional<FileIdentity> identify(const std::string& path) const = 0;

    /// Opens the file at `path` and calls `onEvent` on the main queue when it is deleted, renamed or revoked. May also
    /// call it for other reasons, and more than once: the handler must examine the path. Returns nullptr if the file
    /// cannot be opened. Main thread only.
    [[nodiscard]] virtual std::unique_ptr<FileEventSource> watch(const std::string& path,
                                                                 std::function<void()> onEvent) = 0;
};

} // namespace kelo
