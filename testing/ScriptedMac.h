#pragma once

#include <gtest/gtest.h>
#include <poll.h>

#include <chrono>
#include <cstdint>
#include <thread>
#include <utility>
#include <vector>

#include "platform/linux/socket/UnixSocket.h"
#include "testing/MacFolder.h"

namespace kelo {

/// The Mac's end of one connection at a time. Can send any bytes, even if the client has not sent a request.
class ScriptedMac {
public:
    using Bytes = std::vector<std::uint8_t>;

    explicit ScriptedMac(const char* socketName) : socketName_(socketName) {}

    int folder() const { return folder_.descriptor(); }

    /// Waits for a client to connect. Drops the previous client.
    void accept() {
        awaitReadable(listening_);
        client_ = unix_socket::accept(listening_.get());
        EXPECT_TRUE(client_.isValid());
    }
    void send(const Bytes& bytes) { EXPECT_EQ(unix_socket::send(client_.get(), bytes), unix_socket::Sent::whole); }
    Bytes receive() {
        awaitReadable(client_);
        Bytes buffer(4096);
        const auto received = std::get<unix_socket::Bytes>(unix_socket::receive(client_.get(), buffer));
        return {received.begin(), received.end()};
    }
    void hangUp() { client_ = FileDescriptor(); }
    bool hasClient() const { return client_.isValid() && (stateOf(client_) & POLLHUP) == 0; }
    bool hasMessage() const { return hasClient() && stateOf(client_) != 0; }
    /// Fills the backlog, so that connecting fails while the returned sockets exist.
    std::vector<FileDescriptor> fillBacklog() const {
        std::vector<FileDescriptor> waiting;
        const auto connect = [this] {
            return unix_socket::connect(folder(), socketName_, std::chrono::milliseconds(10));
        };
        for (auto socket = connect(); socket.isValid(); socket = connect())
            waiting.push_back(std::move(socket));
        return waiting;
    }
    /// Accepts each waiting connection and closes it.
    void clearBacklog() {
        while (hasPendingConnection())
            unix_socket::accept(listening_.get());
    }
    bool hasPendingConnection() const { return stateOf(listening_) != 0; }
    /// Closes all sockets, so that connecting is refused.
    void shutDown() {
        hangUp();
        listening_ = {};
    }
    /// Listens again after `shutDown`.
    void restart() { listening_ = unix_socket::listen(folder_.descriptor(), socketName_); }

    /// Runs `work`, which asks questions, while the Mac accepts new connections and answers each question with the next
    /// of `answers`.
    template <typename Work>
    auto answering(const std::vector<Bytes>& answers, const Work& work) {
        std::thread mac([&] {
            for (const auto& answer : answers) {
                while (!receivesQuestion()) {
                }
                send(answer);
            }
        });
        auto result = work();
        mac.join();
        return result;
    }

    /// Runs `work`, which connects, while the Mac accepts the connection and sends `bytes`.
    template <typename Work>
    auto during(const Bytes& bytes, const Work& work) {
        std::thread mac([&] {
            accept();
            send(bytes);
        });
        auto result = work();
        mac.join();
        return result;
    }

private:
    /// Waits for a connection or a message. Returns whether it is a message.
    bool receivesQuestion() {
        pollfd waiting[] = {{.fd = listening_.get(), .events = POLLIN, .revents = 0},
                            {.fd = client_.get(), .events = POLLIN, .revents = 0}};
        if (poll(waiting, 2, 10'000) <= 0) {
            ADD_FAILURE() << "the Mac is not asked";
            return true;
        }
        if (waiting[0].revents != 0) {
            client_ = unix_socket::accept(listening_.get());
            return false;
        }
        if ((waiting[1].revents & POLLHUP) != 0) {
            hangUp(); // the client no longer waits for an answer
            return false;
        }
        receive();
        return true;
    }
    static short stateOf(const FileDescriptor& socket) {
        pollfd state{.fd = socket.get(), .events = POLLIN, .revents = 0};
        poll(&state, 1, 0);
        return state.revents;
    }
    static void awaitReadable(const FileDescriptor& socket) {
        pollfd waiting{.fd = socket.get(), .events = POLLIN, .revents = 0};
        EXPECT_EQ(poll(&waiting, 1, 10'000), 1);
    }

    const char* const socketName_;
    MacFolder folder_;
    FileDescriptor listening_ = unix_socket::listen(folder_.descriptor(), socketName_);
    FileDescriptor client_;
};

} // namespace kelo
