#pragma once

#include <gtest/gtest.h>
#include <poll.h>

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "platform/linux/socket/UnixSocket.h"
#include "simulator/link/HardwareLink.h"
#include "tests/support/MacFolder.h"

namespace kelo {

/// The sentence with which a call fails, "none" when it does not.
template <typename Call>
std::string failureOf(const Call& call) {
    try {
        call();
        return "none";
    } catch (const CallFailed& error) {
        return error.what();
    }
}

/// The Mac's end of one connection at a time, which says whatever the test wants said, asked or not.
class ScriptedMac {
public:
    using Bytes = std::vector<std::uint8_t>;

    /// `socketName` is that of the Mac's socket that this one has.
    explicit ScriptedMac(const char* socketName = HardwareLink::socketName) : socketName_(socketName) {}

    int folder() const { return folder_.descriptor(); }

    /// Waits for somebody to connect, and forgets whoever was there.
    void accept() {
        awaitReadable(listening_);
        client_ = unix_socket::accept(listening_.get());
        EXPECT_TRUE(client_.isValid());
    }
    void say(const Bytes& bytes) { EXPECT_EQ(unix_socket::send(client_.get(), bytes), unix_socket::Sent::whole); }
    void say(const hardware_calls::AnyAnswer& answer) { say(hardware_calls::encode(answer)); }
    /// Waits for the next message.
    Bytes hearBytes() {
        awaitReadable(client_);
        Bytes buffer(HardwareLink::maximumMessageSize);
        const auto heard = std::get<unix_socket::Bytes>(unix_socket::receive(client_.get(), buffer));
        return {heard.begin(), heard.end()};
    }
    /// Waits for the next call.
    hardware_calls::AnyCall hear() { return hardware_calls::decodeCall(hearBytes()); }
    void hangUp() { client_ = FileDescriptor(); }
    /// Nobody connects any more: the line of those who wait to be accepted is full as long as what is returned lives.
    std::vector<FileDescriptor> fillBacklog() const {
        std::vector<FileDescriptor> waiting;
        const auto connect = [this] {
            return unix_socket::connect(folder(), socketName_, std::chrono::milliseconds(10));
        };
        for (auto socket = connect(); socket.isValid(); socket = connect())
            waiting.push_back(std::move(socket));
        return waiting;
    }
    /// Accepts whoever waits and hangs up on them.
    void clearBacklog() {
        while (isAskedToAccept())
            unix_socket::accept(listening_.get());
    }
    /// Whether somebody waits to be accepted.
    bool isAskedToAccept() const {
        pollfd waiting{.fd = listening_.get(), .events = POLLIN, .revents = 0};
        return poll(&waiting, 1, 0) == 1;
    }
    /// Goes: whoever connects is refused.
    void goAway() {
        hangUp();
        listening_ = {};
    }
    /// Is there again after `goAway`.
    void comeBack() { listening_ = unix_socket::listen(folder_.descriptor(), socketName_); }

    /// Does `work`, which connects and calls, while the Mac accepts and says `bytes`.
    template <typename Work>
    auto during(const Bytes& bytes, const Work& work) {
        std::thread mac([&] {
            accept();
            say(bytes);
        });
        auto result = work();
        mac.join();
        return result;
    }

private:
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
