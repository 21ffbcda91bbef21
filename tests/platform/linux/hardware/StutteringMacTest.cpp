// What the helper sees of a simulated Mac that gives one of its answers twice.

#include <gmock/gmock.h>

#include <memory>
#include <thread>

#include "core/fan/FanController.h"
#include "platform/linux/hardware/MacWire.h"
#include "platform/linux/hardware/SimulatedMacHardware.h"
#include "platform/linux/loop/EventLoop.h"
#include "platform/linux/socket/UnixSocket.h"
#include "simulator/model/Profile.h"
#include "simulator/model/SimulatedMac.h"
#include "testing/MacFolder.h"
#include "testing/ScriptedRights.h"
#include "testing/VirtualClock.h"

namespace kelo {
namespace {

class StutteringMac {
public:
    /// Doubles the answer to the exchange of this number, 1 being the first.
    explicit StutteringMac(int doubled) : doubled_(doubled), thread_([this] { loop_.run(); }) {}
    ~StutteringMac() {
        loop_.stop();
        thread_.join();
    }

    int folder() const { return folder_.descriptor(); }

private:
    void accept() {
        client_ = unix_socket::accept(listening_.get());
        serving_ = loop_.watch(client_.get(), EventLoop::Readiness::readable, [this] { answer(); });
    }
    void answer() {
        SMCKeyData request;
        const auto received = unix_socket::receive(client_.get(), mac_wire::bytesOf(request));
        if (!std::holds_alternative<unix_socket::Bytes>(received))
            return serving_.reset();
        auto reply = mac_.exchange(request, true).value();
        reply.data8 = request.data8;
        for (int i = ++exchanges_ == doubled_ ? 2 : 1; i > 0; --i)
            unix_socket::send(client_.get(), mac_wire::bytesOf(reply));
    }

    const int doubled_;
    int exchanges_ = 0;
    MacFolder folder_;
    FileDescriptor listening_ = unix_socket::listen(folder_.descriptor(), mac_wire::hardwareSocket);
    SimulatedMac mac_{*Profile::named("laptop"), [] { return 0.0; }, 1.0};
    FileDescriptor client_;
    EventLoop loop_;
    std::unique_ptr<DescriptorWatch> serving_;
    std::unique_ptr<DescriptorWatch> accepting_ =
        loop_.watch(listening_.get(), EventLoop::Readiness::readable, [this] { accept(); });
    std::thread thread_;
};

class StutteringMacTest : public ::testing::TestWithParam<int> {};

TEST_P(StutteringMacTest, ItsFansAreSeenAgainAtTheNextLook) {
    StutteringMac mac(GetParam());
    SimulatedMacHardware hardware(mac.folder());
    double now = 0;
    VirtualClock clock(now);
    ScriptedRights rights;
    const FanController controller(hardware, clock, rights);
    const auto before = controller.fans(); // may miss a fan, if the second answer comes after the next question
    EXPECT_EQ(controller.fans().size(), 2U) << "with " << before.size() << " before";
}

/// The first two exchanges count the fans; from the third on they are read.
INSTANTIATE_TEST_SUITE_P(EachKindOfAnswer, StutteringMacTest, ::testing::Values(3, 4, 11, 22));

} // namespace
} // namespace kelo
