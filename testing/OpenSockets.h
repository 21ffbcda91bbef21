#pragma once

#include <sys/socket.h>
#include <sys/un.h>

#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

namespace kelo {

/// An end of a Unix-socket connection: the accepted sockets of listeners, or the sockets of clients.
enum class SocketEnd { listeners, clients };

/// Returns this process's descriptors for one end of all connections to sockets named `name`, in any folder.
inline std::vector<int> openSockets(SocketEnd end, const std::string& name) {
    const auto addressOf = end == SocketEnd::listeners ? &getsockname : &getpeername;
    std::vector<int> found;
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
        const int descriptor = std::atoi(entry.path().filename().c_str());
        sockaddr_un address{};
        socklen_t size = sizeof address;
        int isListening = 0;
        socklen_t flagSize = sizeof isListening;
        if (addressOf(descriptor, reinterpret_cast<sockaddr*>(&address), &size) != 0 || address.sun_family != AF_UNIX ||
            getsockopt(descriptor, SOL_SOCKET, SO_ACCEPTCONN, &isListening, &flagSize) != 0 || isListening != 0)
            continue;
        // A listener binds to its name with a suffix and then renames the socket, so the address keeps the suffix.
        if (std::string(address.sun_path).find("/" + name) != std::string::npos)
            found.push_back(descriptor);
    }
    return found;
}

} // namespace kelo
