#include <fcntl.h>

#include <deque>

#include "platform/linux/signing/CodeIdentity.h"
#include "platform/linux/signing/CodeRequirement.h"
#include "platform/linux/socket/InstallationFolder.h"
#include "platform/linux/socket/UnixSocket.h"
#include "platform/linux/socket/client/SocketHelperConnection.h"
#include "platform/linux/socket/server/SocketListener.h"
#include "protocol/KeloHelper.h"
#include "protocol/SigningIdentity.h"
#include "testing/OpenSockets.h"
#include "testing/TemporaryFolder.h"
#include "tests/conformance/HelperConnectionConformance.h"
#include "tests/conformance/ListenerConformance.h"

namespace kelo {
namespace {

/// Both ends of the service's socket in one process. The harness chooses the client's identity, which is checked
/// against the requirement in the same way as that of a real peer.
class SocketHarness {
public:
    Listener& listener() { return listener_; }
    std::string requirement() { return SigningIdentity::requirement(SigningIdentity::appIdentifier, "TEAM"); }

    std::unique_ptr<HelperConnection> connectTrusted() { return connectAs({SigningIdentity::appIdentifier, "TEAM"}); }
    std::unique_ptr<HelperConnection> connectUntrusted() {
        return connectAs({SigningIdentity::appIdentifier, "OTHERS"});
    }

    void endConnections() {
        for (const int socket : openSockets(SocketEnd::listeners, serviceName_))
            shutdown(socket, SHUT_RDWR);
    }

    /// Waits until the listener has handled all ready events. To do so, connects two peers in turn and waits until each
    /// is cut off.
    void settle() {
        for (int i = 0; i < 2; ++i) {
            expect({});
            const auto probe = unix_socket::connect(folder_.get(), serviceName_);
            if (!probe.isValid())
                return; // the listener is closed
            std::uint8_t byte = 0;
            EXPECT_TRUE(std::holds_alternative<unix_socket::Ended>(unix_socket::receive(probe.get(), {&byte, 1})));
        }
    }

private:
    std::unique_ptr<HelperConnection> connectAs(const CodeIdentity& identity) {
        expect(identity);
        return std::make_unique<SocketHelperConnection>(folder_.get());
    }

    /// Sets the identity of the next client.
    void expect(const CodeIdentity& identity) {
        const std::lock_guard lock(mutex_);
        expected_.push_back(identity);
    }

    std::optional<std::string> check(const std::string& requirement) {
        const std::lock_guard lock(mutex_);
        const auto identity = expected_.front();
        expected_.pop_front();
        const auto required = CodeRequirement::parse(requirement);
        if (!required || !required->isSatisfiedBy(identity))
            return "not to be trusted";
        return std::nullopt;
    }

    const std::string serviceName_ = serviceSocketName(KeloHelper::machServiceName);
    TemporaryFolder temporary_;
    FileDescriptor folder_{open(temporary_.path().c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC)};
    std::mutex mutex_;
    std::deque<CodeIdentity> expected_;
    EventLoop main_;
    SocketListener listener_{main_,
                             folder_.get(),
                             serviceName_,
                             [this](int, const std::string& requirement) { return check(requirement); },
                             {.onRefusal = [](const std::string&) {}}};
};

INSTANTIATE_TYPED_TEST_SUITE_P(Linux, ListenerConformance, SocketHarness);
INSTANTIATE_TYPED_TEST_SUITE_P(Linux, HelperConnectionConformance, SocketHarness);

} // namespace
} // namespace kelo
