#pragma once

#include <sys/socket.h>
#include <sys/un.h>

#include <array>
#include <cerrno>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <vector>

#include "platform/posix/FileDescriptor.h"

namespace kelo {

/// The socket of a log daemon that reads only when a test calls `read`.
class FakeLogDaemon {
public:
    /// Replaces any file at `path`.
    explicit FakeLogDaemon(const std::filesystem::path& path, int type = SOCK_DGRAM)
        : socket_(socket(AF_UNIX, type | SOCK_CLOEXEC, 0)) {
        std::filesystem::remove(path);
        address_.sun_family = AF_UNIX;
        path.string().copy(address_.sun_path, sizeof address_.sun_path - 1);
        if (bind(socket_.get(), reinterpret_cast<const sockaddr*>(&address_), sizeof address_) != 0)
            throw std::runtime_error("no socket for a log daemon");
    }

    /// Sends entries until the socket is full, as clients do when the daemon does not read.
    void fill() const {
        const FileDescriptor sender(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0));
        const auto* address = reinterpret_cast<const sockaddr*>(&address_);
        while (sendto(sender.get(), "full", 4, MSG_DONTWAIT, address, sizeof address_) >= 0) {
        }
        if (errno != EAGAIN)
            throw std::runtime_error("nobody can log to the daemon");
    }

    /// Returns the entries received since the last call.
    std::vector<std::string> read() const {
        std::vector<std::string> entries;
        std::array<char, 4096> entry{};
        for (;;) {
            const auto size = recv(socket_.get(), entry.data(), entry.size(), MSG_DONTWAIT);
            if (size < 0)
                return entries;
            entries.emplace_back(entry.data(), static_cast<std::size_t>(size));
        }
    }

private:
    sockaddr_un address_{};
    FileDescriptor socket_;
};

} // namespace kelo
