// A client that can misbehave on request: it sends any bytes, and connects and disconnects at any time.
//
// Reads commands from standard input, one per line, and answers each with one line.

#include <poll.h>
#include <sys/socket.h>
#include <sys/time.h>

#include <cstdio>
#include <iostream>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "platform/linux/socket/InstallationFolder.h"
#include "platform/linux/socket/RequestRecords.h"
#include "platform/linux/socket/UnixSocket.h"
#include "platform/posix/Hex.h"
#include "protocol/KeloHelper.h"

namespace kelo {
namespace {

using Bytes = std::vector<std::uint8_t>;

Bytes fromHex(const std::string& text) {
    Bytes bytes;
    for (std::size_t i = 0; i + 1 < text.size(); i += 2)
        bytes.push_back(static_cast<std::uint8_t>(std::stoi(text.substr(i, 2), nullptr, 16)));
    return bytes;
}

class RawClient {
public:
    std::string perform(const std::string& command, const std::string& argument) {
        if (command == "connect")
            return connect() ? "connected" : "refused";
        if (command == "send")
            return unix_socket::send(socket_.get(), fromHex(argument)) == unix_socket::Sent::whole ? "sent" : "failed";
        if (command == "receive")
            return receive();
        if (command == "churn")
            return churn(std::stoi(argument));
        if (command == "storm")
            return storm(std::stoi(argument));
        if (command == "close") {
            socket_ = {};
            return "closed";
        }
        return "unknown command";
    }

private:
    bool connect() {
        socket_ = unix_socket::connect(installation_.get(), serviceSocketName(KeloHelper::machServiceName));
        const timeval timeout = {.tv_sec = 20, .tv_usec = 0};
        setsockopt(socket_.get(), SOL_SOCKET, SO_RCVTIMEO, &timeout, sizeof timeout);
        return socket_.isValid();
    }

    std::string receive() {
        Bytes buffer(request_records::maximumReplySize);
        const auto received = unix_socket::receive(socket_.get(), buffer);
        if (const auto* bytes = std::get_if<unix_socket::Bytes>(&received))
            return hexOf(*bytes);
        return std::holds_alternative<unix_socket::Ended>(received) ? "ended" : "nothing";
    }

    std::string churn(int count) {
        int connected = 0;
        for (int i = 0; i < count; ++i)
            connected += connect() ? 1 : 0;
        socket_ = {};
        return std::to_string(connected);
    }

    /// Keeps requesting snapshots over this many connections, with 64 requests at once on each.
    std::string storm(int connections) {
        for (int i = 0; i < connections; ++i) {
            if (!connect())
                return "refused";
            storm_.push_back({.fd = socket_.get(), .events = POLLIN, .revents = 0});
            for (int request = 0; request < 64; ++request)
                requestSnapshot(socket_.get());
            connections_.push_back(std::move(socket_));
        }
        std::thread([this] {
            while (poll(storm_.data(), storm_.size(), -1) > 0)
                for (const auto& ready : storm_)
                    if (ready.revents != 0)
                        takeReply(ready.fd);
        }).detach();
        return "storming";
    }

    void requestSnapshot(int connection) {
        unix_socket::send(connection, request_records::encode(++number_, requests::FetchSnapshot{}));
    }

    void takeReply(int connection) {
        Bytes buffer(request_records::maximumReplySize);
        unix_socket::receive(connection, buffer);
        requestSnapshot(connection);
    }

    FileDescriptor installation_ = openInstallation();
    FileDescriptor socket_;
    std::vector<FileDescriptor> connections_; ///< The connections of the storm.
    std::vector<pollfd> storm_;
    std::uint64_t number_ = 0; ///< The number of the storm's last request.
};

} // namespace
} // namespace kelo

int main() {
    kelo::RawClient client;
    for (std::string line; std::getline(std::cin, line);) {
        std::istringstream words(line);
        std::string command;
        std::string argument;
        words >> command >> argument;
        std::cout << client.perform(command, argument) << std::endl;
    }
}
