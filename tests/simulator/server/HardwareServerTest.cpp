#include "simulator/server/HardwareServer.h"

#include <gmock/gmock.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <functional>
#include <thread>

#include "platform/linux/socket/Message.h"
#include "platform/linux/socket/UnixSocket.h"
#include "tests/support/MacUnderTest.h"

namespace kelo {
namespace {

using namespace hardware_calls;
using ::testing::EndsWith;
using ::testing::StartsWith;

class HardwareServerTest : public ::testing::Test {
protected:
    bool isServing() const { return mac.refusal(Show{}).empty(); }

    MacUnderTest mac;
};

/// A client whose every byte is the test's.
class RawLink {
public:
    explicit RawLink(int folder) : socket_(unix_socket::connect(folder, HardwareLink::socketName)) {}

    std::string refusalOf(const std::vector<std::uint8_t>& bytes) {
        EXPECT_EQ(unix_socket::send(socket_.get(), bytes), unix_socket::Sent::whole);
        const auto received = unix_socket::receive(socket_.get(), HardwareLink::maximumMessageSize);
        const auto answer = decodeAnswer(std::get<std::vector<std::uint8_t>>(received));
        const auto* refused = std::get_if<Refused>(&answer);
        return refused != nullptr ? refused->sentence : "not refused";
    }

private:
    FileDescriptor socket_;
};

TEST_F(HardwareServerTest, ACallThatIsNoneIsAnsweredWithASentenceAndEndsNothing) {
    const std::vector<std::uint8_t> calls[] = {
        {0xFF},
        encodeMessage(Message::object()),
        encodeMessage({{"explode", Message::object()}}),
        encodeMessage({{"setKey", {{"key", 1}, {"value", "hot"}}}}),
        encodeMessage({{"exchange", {{"record", Message::binary({1, 2, 3})}}}}),
        encode(AnyCall(SetKey{"Temperature", 1})),
        encode(AnyAnswer(Done{})),
    };
    RawLink link(mac.folder());
    for (const auto& call : calls) {
        const auto refusal = link.refusalOf(call);
        EXPECT_THAT(refusal, StartsWith("That cannot be done: "));
        EXPECT_THAT(refusal, EndsWith("."));
    }
    EXPECT_TRUE(isServing());
}

TEST_F(HardwareServerTest, AConnectionRegistersForPowerOnceAndIsNotWaitedForAfterItsEnd) {
    auto link = HardwareLink::connect(mac.folder());
    EXPECT_NO_THROW(link->call(RegisterForPower{}));
    EXPECT_THROW(link->call(RegisterForPower{}), CallFailed);
    EXPECT_EQ(mac.call(Show{}).powerClients, 1U);
    link.reset();
    EXPECT_EQ(mac.call(Sleep{}).acknowledged, 0);
}

TEST_F(HardwareServerTest, AClientThatGoesBeforeItsSlowAnswerEndsNothing) {
    mac.drive(AnswerSlowly{0.05});
    {
        const auto socket = unix_socket::connect(mac.folder(), HardwareLink::socketName);
        EXPECT_EQ(unix_socket::send(socket.get(), encode(AnyCall(Exchange{}))), unix_socket::Sent::whole);
    }
    const auto link = HardwareLink::connect(mac.folder());
    EXPECT_NO_THROW(link->call(Exchange{})); // later than the answer that nobody takes
    EXPECT_TRUE(isServing());
}

/// Runs `work` on a thread of somebody without rights: to the kernel, a user belongs to each thread.
void asNobody(const std::function<void()>& work) {
    std::thread([&] {
        constexpr uid_t unchanged = static_cast<uid_t>(-1);
        constexpr uid_t nobody = 65534;
        ASSERT_EQ(syscall(SYS_setresuid, unchanged, nobody, unchanged), 0);
        work();
    }).join();
}

TEST_F(HardwareServerTest, SomebodyWithoutRightsMayLookButNotDrive) {
    if (geteuid() != 0)
        GTEST_SKIP() << "only the superuser can become somebody else";
    asNobody([this] {
        EXPECT_TRUE(isServing());
        EXPECT_EQ(mac.refusal(Exchange{}), "");
        EXPECT_EQ(mac.refusal(ReadClamshell{}), "");
        EXPECT_EQ(mac.refusal(RegisterForPower{}), "");
    });
    const AnyCall drives[] = {SetLid{true}, Sleep{},        Wake{},       SetLoad{1},   SetKey{},
                              Interfere{},  FailExchange{}, AnswerWith{}, ReportSize{}, ReportType{},
                              RemoveKey{},  AnswerSlowly{}, ClearFaults{}};
    asNobody([&] {
        RawLink link(mac.folder());
        for (const auto& drive : drives)
            EXPECT_EQ(link.refusalOf(encode(drive)), "Only whoever runs the simulated Mac can do that.");
    });
    EXPECT_FALSE(mac.call(Show{}).lidClosed);
}

} // namespace
} // namespace kelo
