#pragma once

#include <sys/socket.h>
#include <sys/un.h>

#include <array>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <vector>

#include "platform/posix/FileDescriptor.h"

namespace kelo {

/// The socket of a log daemon, read only when a test says so.
class FakeLogDaemon {
public:
    /// Takes the place of whatever is at `path`.
    explicit FakeLogDaemon(const std::filesystem::path& path, int type = SOCK_DGRAM)
        : socket_(socket(AF_UNIX, type | SOCK_CLOEXEC, 0)) {
        std::filesystem::remove(path);
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        path.string().copy(address.sun_path, sizeof address.sun_path - 1);
        if (bind(socket_.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0)
            throw std::runtime_error("no socket for a log daemon");
    }

    /// What has come since it was last asked.
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
    FileDescriptor socket_;
};

} // namespace kelo
