#pragma once

#include <fcntl.h>
#include <gmock/gmock.h>
#include <poll.h>
#include <sys/socket.h>

#include <atomic>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <stdexcept>
#include <thread>
#include <vector>

#include "platform/linux/socket/RequestRecords.h"
#include "platform/linux/socket/UnixSocket.h"
#include "platform/linux/socket/server/SocketListener.h"
#include "testing/ScriptedHelper.h"
#include "testing/TemporaryFolder.h"

namespace kelo {

using Bytes = std::vector<std::uint8_t>;

/// Answers version requests at once and keeps all other replies until the test sends them.
class SlowHelper : public ScriptedHelper {
public:
    SlowHelper() { keepReplies(); }

    void perform(requests::AnyCall call) override {
        const auto* made = std::get_if<requests::Call<requests::HelperVersion>>(&call);
        if (made == nullptr)
            return ScriptedHelper::perform(std::move(call));
        ++versions;
        actionOnVersion()();
        if (throws)
            throw std::runtime_error("broken");
        made->reply(version);
    }

    /// Runs `action` for each version request, on the listener's thread.
    void onVersionRequest(std::function<void()> action) {
        const std::lock_guard lock(mutex_);
        onVersion_ = std::move(action);
    }

    std::atomic<int> versions = 0;
    std::atomic<bool> throws = false;

private:
    std::function<void()> actionOnVersion() {
        const std::lock_guard lock(mutex_);
        return onVersion_;
    }

    std::mutex mutex_;
    std::function<void()> onVersion_ = [] {};
};

/// The client's end of a connection: blocking, with a timeout.
class RawClient {
public:
    explicit RawClient(int folder) : socket_(unix_socket::connect(folder, "service.socket")) {
        const timeval timeout = {.tv_sec = 10, .tv_usec = 0};
        setsockopt(socket_.get(), SOL_SOCKET, SO_RCVTIMEO, &timeout, sizeof timeout);
    }

    bool isConnected() const { return socket_.isValid(); }
    void send(unix_socket::Bytes bytes) { unix_socket::send(socket_.get(), bytes); }
    void request(std::uint64_t number, const requests::Any& request) { send(request_records::encode(number, request)); }
    /// Returns nullopt if the connection has ended.
    std::optional<Bytes> receive() {
        Bytes buffer(request_records::maximumReplySize);
        const auto received = unix_socket::receive(socket_.get(), buffer);
        const auto* bytes = std::get_if<unix_socket::Bytes>(&received);
        EXPECT_FALSE(std::holds_alternative<unix_socket::WouldBlock>(received)) << "neither a reply nor the end";
        return bytes != nullptr ? std::optional(Bytes(bytes->begin(), bytes->end())) : std::nullopt;
    }
    template <typename Request>
    bool receiveReply(std::uint64_t number) {
        const auto reply = receive();
        typename Request::Answer answer{};
        return reply && request_records::decodeAnswer(*reply, number, answer);
    }
    /// Returns nullopt if the connection has ended.
    std::optional<std::int64_t> version(std::uint64_t number) {
        request(number, requests::HelperVersion{});
        const auto reply = receive();
        std::int64_t version = -1;
        if (!reply || !request_records::decodeAnswer(*reply, number, version))
            return std::nullopt;
        return version;
    }
    bool hasUnread() const {
        pollfd waiting{.fd = descriptor(), .events = POLLIN, .revents = 0};
        return poll(&waiting, 1, 0) == 1;
    }
    bool isCutOff() { return !receive().has_value(); }
    void close() { socket_ = {}; }
    int descriptor() const { return socket_.get(); }

private:
    FileDescriptor socket_;
};

inline bool eventually(const std::function<bool()>& condition) {
    for (int i = 0; i < 2000 && !condition(); ++i)
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    return condition();
}

/// A listener on a separate socket. The test controls the results of the check and of the admission.
class SocketFixture : public ::testing::Test {
protected:
    SocketFixture() {
        listener.setAdmission(admission.callable());
        listener.setConnectionCodeSigningRequirement("the requirement");
        EXPECT_TRUE(listener.resume());
    }

    /// Checks a peer. Returns nullopt to admit the peer.
    std::optional<std::string> check(const std::string& requirement) {
        EXPECT_EQ(requirement, "the requirement");
        ++checks;
        if (checkThrows)
            throw std::runtime_error("broken");
        const std::lock_guard lock(mutex);
        return refusal;
    }

    TemporaryFolder temporary;
    FileDescriptor folder{open(temporary.path().c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC)};
    std::mutex mutex;
    std::optional<std::string> refusal;
    std::atomic<int> refusals = 0;
    std::atomic<int> checks = 0; ///< The number of checks that have started.
    std::atomic<bool> checkThrows = false;
    std::shared_ptr<SlowHelper> helper = std::make_shared<SlowHelper>();
    ScriptedAdmission admission{helper};
    EventLoop main; ///< Does not run: the test's thread is the main thread.
    SocketListener listener{main,
                            folder.get(),
                            "service.socket",
                            [this](int, const std::string& requirement) { return check(requirement); },
                            {.onRefusal = [this](const std::string&) { ++refusals; }}};
};

} // namespace kelo
