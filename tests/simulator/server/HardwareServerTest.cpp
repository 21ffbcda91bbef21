#include "simulator/server/HardwareServer.h"

#include <gmock/gmock.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "platform/linux/socket/Message.h"
#include "platform/linux/socket/UnixSocket.h"
#include "simulator/link/ControllerLink.h"
#include "simulator/link/LidLink.h"
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
        std::vector<std::uint8_t> buffer(HardwareLink::maximumMessageSize);
        const auto received = unix_socket::receive(socket_.get(), buffer);
        const auto answer = decodeAnswer(std::get<unix_socket::Bytes>(received));
        const auto* refused = std::get_if<Refused>(&answer);
        return refused != nullptr ? refused->sentence : "not refused";
    }

private:
    FileDescriptor socket_;
};

constexpr uid_t nobody = 65534;

/// Runs `work` on a thread of somebody without rights: to the kernel, a user belongs to each thread.
void as(uid_t user, const std::function<void()>& work) {
    std::thread([&] {
        constexpr uid_t unchanged = static_cast<uid_t>(-1);
        ASSERT_EQ(syscall(SYS_setresuid, unchanged, user, unchanged), 0);
        work();
    }).join();
}

TEST_F(HardwareServerTest, ACallThatIsNoneIsAnsweredWithASentenceAndEndsNothing) {
    const std::vector<std::uint8_t> calls[] = {
        {0xFF},
        encodeMessage(Message::object()),
        encodeMessage({{"explode", Message::object()}}),
        encodeMessage({{"setKey", {{"key", 1}, {"value", "hot"}}}}),
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
        const auto socket = unix_socket::connect(mac.folder(), ControllerLink::socketName);
        EXPECT_EQ(unix_socket::send(socket.get(), bytesOf(SMCKeyData{})), unix_socket::Sent::whole);
    }
    const auto link = ControllerLink::connect(mac.folder());
    const auto start = std::chrono::steady_clock::now();
    EXPECT_NO_THROW(link->call({})); // later than the answer that nobody takes
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(50));
    EXPECT_TRUE(isServing());
}

TEST_F(HardwareServerTest, WhoeverSendsTheControllerAnythingButARecordIsDroppedAndNobodyElse) {
    const auto link = ControllerLink::connect(mac.folder());
    for (const std::size_t size : {1U, 79U, 81U, 4096U}) {
        const auto socket = unix_socket::connect(mac.folder(), ControllerLink::socketName);
        EXPECT_EQ(unix_socket::send(socket.get(), std::vector<std::uint8_t>(size)), unix_socket::Sent::whole);
        std::vector<std::uint8_t> answer(sizeof(SMCKeyData));
        EXPECT_TRUE(std::holds_alternative<unix_socket::Ended>(unix_socket::receive(socket.get(), answer))) << size;
        EXPECT_NO_THROW(link->call({}));
    }
}

TEST_F(HardwareServerTest, WhoeverSendsTheLidMoreThanAQuestionIsDroppedAndNobodyElse) {
    const auto link = LidLink::connect(mac.folder());
    const auto socket = unix_socket::connect(mac.folder(), LidLink::socketName);
    EXPECT_EQ(unix_socket::send(socket.get(), std::vector<std::uint8_t>(2)), unix_socket::Sent::whole);
    LidLink::Answer answer;
    EXPECT_TRUE(std::holds_alternative<unix_socket::Ended>(unix_socket::receive(socket.get(), answer)));
    mac.drive(SetLid{true});
    EXPECT_EQ(link->call({}), ClamshellProperty(true));
}

TEST_F(HardwareServerTest, WhoeverDoesNotAwaitALateReplyIsDroppedAndNobodyElseWaitsForIt) {
    mac.drive(AnswerSlowly{60});
    const auto socket = unix_socket::connect(mac.folder(), ControllerLink::socketName);
    for (int i = 0; i < 2; ++i)
        EXPECT_EQ(unix_socket::send(socket.get(), bytesOf(SMCKeyData{})), unix_socket::Sent::whole);
    std::vector<std::uint8_t> answer(sizeof(SMCKeyData));
    EXPECT_TRUE(std::holds_alternative<unix_socket::Ended>(unix_socket::receive(socket.get(), answer)));

    const auto waiting = unix_socket::connect(mac.folder(), ControllerLink::socketName);
    EXPECT_EQ(unix_socket::send(waiting.get(), bytesOf(SMCKeyData{})), unix_socket::Sent::whole);
    mac.drive(ClearFaults{});
    EXPECT_NO_THROW(ControllerLink::connect(mac.folder())->call({}));
}

TEST_F(HardwareServerTest, SomebodyWithoutRightsReadsKeysAndWritesNone) {
    if (geteuid() != 0)
        GTEST_SKIP() << "only the superuser can become somebody else";
    SMCKeyData request{};
    request.key = smcCode("F0Md");
    request.keyInfo.dataSize = 1;
    as(nobody, [&] {
        const auto link = ControllerLink::connect(mac.folder());
        request.data8 = static_cast<std::uint8_t>(SMCCommand::readBytes);
        EXPECT_TRUE(link->call(request).has_value());
        request.data8 = static_cast<std::uint8_t>(SMCCommand::writeBytes);
        EXPECT_FALSE(link->call(request).has_value());
    });
    EXPECT_TRUE(ControllerLink::connect(mac.folder())->call(request).has_value());
}

TEST_F(HardwareServerTest, ACallLargerThanAnyOfOursEndsItsConnectionAndNoOther) {
    const auto size = [](const AnyCall& call) { return encode(call).size(); };
    const std::string text(HardwareServer::maximumCallSize - size(ReportType{"F0Ac", std::string(256, 'x')}) + 256,
                           'x');
    ASSERT_EQ(size(ReportType{"F0Ac", text}), HardwareServer::maximumCallSize);
    RawLink link(mac.folder());
    EXPECT_EQ(link.refusalOf(encode(AnyCall(ReportType{"F0Ac", text}))), "not refused");
    EXPECT_EQ(mac.refusal(ReportType{"F0Ac", text + "x"}), "The simulated Mac has gone.");
    EXPECT_EQ(link.refusalOf(encode(AnyCall(Show{}))), "not refused");
}

TEST_F(HardwareServerTest, NestingWithoutEndIsRefusedOrEndsItsConnectionAndNothingElse) {
    for (const std::uint8_t byte : std::vector<std::uint8_t>{0x5F, 0x7F, 0x81, 0x9F, 0xBF, 0xC0}) {
        const std::vector<std::uint8_t> nested(50'000, byte);
        RawLink link(mac.folder());
        EXPECT_THAT(link.refusalOf({nested.begin(), nested.begin() + HardwareServer::maximumCallSize}),
                    StartsWith("That cannot be done: "));
        const auto other = unix_socket::connect(mac.folder(), HardwareLink::socketName);
        EXPECT_EQ(unix_socket::send(other.get(), nested), unix_socket::Sent::whole);
        EXPECT_TRUE(isServing());
    }
}

TEST_F(HardwareServerTest, AClientThatDoesNotReadItsAnswersIsDropped) {
    const auto socket = unix_socket::connect(mac.folder(), HardwareLink::socketName);
    const auto show = encode(AnyCall(Show{}));
    int calls = 0;
    while (calls < 100'000 && unix_socket::send(socket.get(), show) == unix_socket::Sent::whole)
        ++calls;
    EXPECT_LT(calls, 100'000);
    EXPECT_TRUE(isServing());
}

TEST_F(HardwareServerTest, SomebodyWithoutRightsMayLookButNotDrive) {
    if (geteuid() != 0)
        GTEST_SKIP() << "only the superuser can become somebody else";
    as(nobody, [this] {
        EXPECT_TRUE(isServing());
        EXPECT_NO_THROW(ControllerLink::connect(mac.folder())->call({}));
        EXPECT_EQ(LidLink::connect(mac.folder())->call({}), ClamshellProperty(false));
    });
    const AnyCall drives[] = {SetLid{true}, Sleep{},        Wake{},        SetLoad{1},        SetKey{},
                              Interfere{},  FailExchange{}, AnswerWith{},  ReportSize{},      ReportType{},
                              RemoveKey{},  AnswerSlowly{}, ClearFaults{}, RegisterForPower{}};
    as(nobody, [&] {
        RawLink link(mac.folder());
        for (const auto& drive : drives)
            EXPECT_EQ(link.refusalOf(encode(drive)), "Only whoever runs the simulated Mac can do that.");
    });
    EXPECT_FALSE(mac.call(Show{}).lidClosed);
}

TEST_F(HardwareServerTest, SomebodyWithoutRightsDelaysNoSleep) {
    if (geteuid() != 0)
        GTEST_SKIP() << "only the superuser can become somebody else";
    std::unique_ptr<HardwareLink> link;
    as(nobody, [&] {
        link = HardwareLink::connect(mac.folder());
        EXPECT_THROW(link->call(RegisterForPower{}), CallFailed);
    });
    EXPECT_EQ(mac.call(Sleep{.now = true}).missing, 0);
}

class CrowdedHardwareServerTest : public HardwareServerTest {
protected:
    void SetUp() override {
        if (geteuid() != 0)
            GTEST_SKIP() << "only the superuser can become somebody else";
    }

    /// Makes so many connections as `user`, and keeps those that are served. Returns how many are.
    int crowd(uid_t user, int attempts) {
        int served = 0;
        as(user, [&] {
            for (int i = 0; i < attempts; ++i)
                if (auto link = HardwareLink::connect(mac.folder()); isServed(*link)) {
                    links.push_back(std::move(link));
                    ++served;
                }
        });
        return served;
    }
    static bool isServed(HardwareLink& link) {
        try {
            link.call(Show{});
            return true;
        } catch (const CallFailed&) {
            return false;
        }
    }

    std::vector<std::unique_ptr<HardwareLink>> links;
};

TEST_F(CrowdedHardwareServerTest, AStrangerHasSoManyPlacesAndLeavesThoseOfOthers) {
    EXPECT_EQ(crowd(nobody, 2 * HardwareServer::maximumOfStranger), HardwareServer::maximumOfStranger);
    EXPECT_EQ(crowd(nobody - 1, 1), 1);
    EXPECT_TRUE(isServing());
}

TEST_F(CrowdedHardwareServerTest, AllStrangersTogetherHaveSoManyPlacesAndLeaveTheOwners) {
    int served = 0;
    for (uid_t user = nobody - 10; user < nobody; ++user)
        served += crowd(user, HardwareServer::maximumOfStranger);
    EXPECT_EQ(served, HardwareServer::maximumOfStrangers);
    EXPECT_EQ(crowd(nobody, 1), 0);
    EXPECT_EQ(crowd(geteuid(), 100), 100);
    EXPECT_TRUE(std::all_of(links.begin(), links.end(), [](const auto& link) { return isServed(*link); }));
}

TEST_F(CrowdedHardwareServerTest, APlaceThatIsLeftIsTakenAgain) {
    EXPECT_EQ(crowd(nobody, HardwareServer::maximumOfStranger), HardwareServer::maximumOfStranger);
    links.clear();
    EXPECT_TRUE(isServing()); // after it has noticed who has gone
    EXPECT_EQ(crowd(nobody, HardwareServer::maximumOfStranger), HardwareServer::maximumOfStranger);
}

} // namespace
} // namespace kelo
