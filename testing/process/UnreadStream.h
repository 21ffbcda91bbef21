#pragma once

#include <fcntl.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <climits>
#include <filesystem>
#include <stdexcept>
#include <string>

#include "platform/posix/FileDescriptor.h"

namespace kelo {

/// A full pipe or terminal that no process reads.
class UnreadStream {
public:
    static UnreadStream pipe(const std::filesystem::path& path) {
        if (::mkfifo(path.c_str(), 0600) != 0)
            throw std::runtime_error("no pipe");
        return UnreadStream(path, FileDescriptor(::open(path.c_str(), O_RDWR | O_NONBLOCK | O_CLOEXEC)), {});
    }

    static UnreadStream terminal() {
        FileDescriptor other(::posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC));
        std::array<char, PATH_MAX> name{};
        if (::grantpt(other.get()) != 0 || ::unlockpt(other.get()) != 0 ||
            ::ptsname_r(other.get(), name.data(), name.size()) != 0)
            throw std::runtime_error("no terminal");
        FileDescriptor end(::open(name.data(), O_RDWR | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
        return UnreadStream(name.data(), std::move(end), std::move(other));
    }

    const std::filesystem::path& path() const { return path_; }

    /// Reads the current content of the pipe, which makes room.
    std::string read() const {
        std::string text;
        std::array<char, 4096> part{};
        for (ssize_t size = 0; (size = ::read(end_.get(), part.data(), part.size())) > 0;)
            text.append(part.data(), static_cast<std::size_t>(size));
        return text;
    }

private:
    UnreadStream(std::filesystem::path path, FileDescriptor end, FileDescriptor other)
        : path_(std::move(path)), end_(std::move(end)), other_(std::move(other)) {
        while (::write(end_.get(), "x", 1) == 1) {
        }
        if (errno != EAGAIN)
            throw std::runtime_error("nobody can write to " + path_.string());
    }

    std::filesystem::path path_;
    FileDescriptor end_;   ///< Kept open, like `other_`: otherwise writing would fail instead of blocking.
    FileDescriptor other_; ///< The other end of the terminal; unused for a pipe.
};

} // namespace kelo
