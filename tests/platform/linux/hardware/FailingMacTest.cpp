// What the helper's view of the hardware makes of a simulated Mac that goes, refuses or talks nonsense.

#include <gmock/gmock.h>
#include <sys/resource.h>

#include <cerrno>
#include <chrono>
#include <functional>
#include <memory>
#include <system_error>
#include <thread>
#include <vector>

#include "platform/linux/hardware/SimulatedMacClamshell.h"
#include "platform/linux/hardware/SimulatedMacExchange.h"
#include "platform/linux/hardware/SimulatedMacPowerNotifications.h"
#include "tests/platform/linux/conformance/LoopUnderTest.h"
#include "tests/support/ScriptedMac.h"

namespace kelo {
namespace {

using namespace hardware_calls;
using Bytes = ScriptedMac::Bytes;

const std::vector<Bytes>& nonsense() {
    static const std::vector<Bytes> nonsense = {
        {0x01},
        {0xA0}, // an empty map
        encode(AnyAnswer(Refused{"No."})),
        encode(AnyAnswer(PowerAnnouncement{})),
        encode(AnyCall(Show{})),
    };
    return nonsense;
}

Bytes recordBytes(const SMCKeyData& record) {
    const auto bytes = bytesOf(record);
    return {bytes.begin(), bytes.end()};
}

TEST(FailingMacTest, AnExchangeWithNonsenseForAnAnswerFailsAndThrowsNothing) {
    for (const std::size_t size : {1U, 2U, 79U}) {
        const Bytes bytes(size);
        ScriptedMac mac(ControllerLink::socketName);
        SimulatedMacExchange exchange(mac.folder());
        const auto connection = exchange.open();
        mac.accept();
        mac.say(bytes);
        SMCKeyData reply{};
        EXPECT_FALSE(exchange.exchange(connection, {}, reply));
    }
    static_assert(noexcept(std::declval<SimulatedMacExchange>().exchange(0, {}, std::declval<SMCKeyData&>())));
    static_assert(noexcept(std::declval<SimulatedMacExchange>().close(0)));
}

TEST(FailingMacTest, AnExchangeThatFailsAtThePlatformsLevelLeavesTheConnectionOfUse) {
    ScriptedMac mac(ControllerLink::socketName);
    SimulatedMacExchange exchange(mac.folder());
    const auto connection = exchange.open();
    mac.accept();
    SMCKeyData reply{};
    mac.say(Bytes(ControllerLink::failedExchange.begin(), ControllerLink::failedExchange.end()));
    EXPECT_FALSE(exchange.exchange(connection, {}, reply));
    SMCKeyData keyNotFound{};
    keyNotFound.result = 0x84;
    mac.say(recordBytes(keyNotFound));
    EXPECT_TRUE(exchange.exchange(connection, {}, reply));
    EXPECT_EQ(reply.result, 0x84);
}

TEST(FailingMacTest, TheLidIsAbsentAfterNonsenseAndReadFromTheNextMac) {
    ScriptedMac mac(LidLink::socketName);
    SimulatedMacClamshell clamshell(mac.folder());
    const auto state = [&] { return clamshell.clamshellState(); };
    for (const auto& bytes : {Bytes(1), Bytes(8), Bytes(9, 4)})
        EXPECT_EQ(mac.during(bytes, state), ClamshellProperty());
    const auto closed = LidLink::encode(true);
    EXPECT_EQ(mac.during({closed.begin(), closed.end()}, state), ClamshellProperty(true));
}

/// Waits long enough for a busy machine, and briefly for a Mac that says nothing.
constexpr MacTimeouts shortTimeouts = {
    .answer = std::chrono::seconds(1), .retry = std::chrono::milliseconds(250), .memory = std::chrono::seconds(30)};

class HangingMacTest : public ::testing::Test {
protected:
    bool exchangeOnce() {
        SMCKeyData reply{};
        return exchange.exchange(connection, {}, reply);
    }
    template <typename Work>
    static std::chrono::milliseconds durationOf(const Work& work) {
        const auto start = std::chrono::steady_clock::now();
        work();
        return std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - start);
    }

    const Bytes done = recordBytes({});
    ScriptedMac mac{ControllerLink::socketName};
    SimulatedMacExchange exchange{mac.folder(), shortTimeouts};
    const std::uint32_t connection = exchange.open();
    ScriptedMac lidMac{LidLink::socketName};
    SimulatedMacClamshell clamshell{lidMac.folder(), shortTimeouts};
};

TEST_F(HangingMacTest, TheExchangeAfterOneThatWasNotAnsweredInTimeIsAnswered) {
    mac.accept();
    EXPECT_FALSE(exchangeOnce());
    EXPECT_TRUE(mac.during(done, [this] { return exchangeOnce(); }));
}

TEST_F(HangingMacTest, AnExchangeWithAMacThatHasBeenRestartedIsTriedAgainAtOnce) {
    mac.accept();
    mac.goAway();
    mac.comeBack();
    EXPECT_TRUE(mac.during(done, [this] { return exchangeOnce(); }));
}

TEST_F(HangingMacTest, AnExchangeFailsWhileNoMacIsThereAndSucceedsWhenOneIsBack) {
    mac.accept();
    mac.goAway();
    EXPECT_FALSE(exchangeOnce());
    EXPECT_FALSE(exchangeOnce());
    mac.comeBack();
    EXPECT_TRUE(mac.during(done, [this] { return exchangeOnce(); }));
}

TEST_F(HangingMacTest, AClosedConnectionStaysClosedWhenTheMacIsRestarted) {
    mac.accept();
    exchange.close(connection);
    mac.goAway();
    mac.comeBack();
    EXPECT_FALSE(exchangeOnce());
}

TEST_F(HangingMacTest, AMacThatHungIsWaitedForBrieflyUntilItAnswers) {
    mac.accept();
    EXPECT_GE(durationOf([this] { exchangeOnce(); }), shortTimeouts.answer);
    EXPECT_LT(durationOf([this] { exchangeOnce(); }), shortTimeouts.answer);
    EXPECT_LT(durationOf([this] { exchangeOnce(); }), shortTimeouts.answer);
    mac.clearBacklog();
    EXPECT_TRUE(mac.during(done, [this] { return exchangeOnce(); }));
    EXPECT_GE(durationOf([this] { exchangeOnce(); }), shortTimeouts.answer);
}

TEST_F(HangingMacTest, AMacThatHungIsWaitedForAsBeforeOnceThatIsLongAgo) {
    const MacTimeouts forgetful = {shortTimeouts.answer, shortTimeouts.retry, std::chrono::milliseconds(1)};
    SimulatedMacExchange other(mac.folder(), forgetful);
    const auto handle = other.open();
    SMCKeyData reply{};
    EXPECT_FALSE(other.exchange(handle, {}, reply));
    std::this_thread::sleep_for(forgetful.memory);
    EXPECT_GE(durationOf([&] { EXPECT_FALSE(other.exchange(handle, {}, reply)); }), forgetful.answer);
}

TEST_F(HangingMacTest, TheLidOfAMacThatHungIsWaitedForBriefly) {
    EXPECT_GE(durationOf([this] { EXPECT_EQ(clamshell.clamshellState(), ClamshellProperty()); }), shortTimeouts.answer);
    EXPECT_LT(durationOf([this] { EXPECT_EQ(clamshell.clamshellState(), ClamshellProperty()); }), shortTimeouts.answer);
}

TEST_F(HangingMacTest, AMacThatAcceptsNobodyKeepsNobodyWaitingForLong) {
    const auto waiting = mac.fillBacklog();
    const auto alsoWaiting = lidMac.fillBacklog();
    SimulatedMacExchange other(mac.folder(), shortTimeouts);
    EXPECT_LT(durationOf([&] { EXPECT_EQ(other.open(), 0U); }), shortTimeouts.answer);
    EXPECT_LT(durationOf([this] { EXPECT_EQ(clamshell.clamshellState(), ClamshellProperty()); }), shortTimeouts.answer);
}

/// While it lives this process gets no descriptor.
class NoDescriptorsLeft {
public:
    NoDescriptorsLeft() {
        EXPECT_EQ(getrlimit(RLIMIT_NOFILE, &before_), 0);
        const rlimit none = {.rlim_cur = 0, .rlim_max = before_.rlim_max};
        EXPECT_EQ(setrlimit(RLIMIT_NOFILE, &none), 0);
    }
    NoDescriptorsLeft(const NoDescriptorsLeft&) = delete;
    NoDescriptorsLeft& operator=(const NoDescriptorsLeft&) = delete;
    ~NoDescriptorsLeft() { EXPECT_EQ(setrlimit(RLIMIT_NOFILE, &before_), 0); }

private:
    rlimit before_ = {};
};

class FailingPowerDomainTest : public ::testing::Test {
protected:
    std::unique_ptr<PowerRegistration> registerOnce() {
        return notifications.registerForSystemPower([this](PowerMessage, std::intptr_t) {
            ++messages;
            onMessage();
        });
    }
    std::unique_ptr<PowerRegistration> registerWith(const Bytes& answer) {
        return mac.during(answer, [this] { return registerOnce(); });
    }
    /// Lets the loop serve for a minute, and the Mac answer whoever registers meanwhile.
    void runWith(const Bytes& answer) {
        mac.during(answer, [this] {
            run(60);
            return 0;
        });
    }
    /// Lets the loop serve; by default what is there already.
    void run(double seconds = 0.05) { under.run(seconds); }
    int messagesAfterOneMore() {
        mac.say(PowerAnnouncement{});
        run();
        return messages;
    }

    const Bytes done = encode(AnyAnswer(Done{}));
    const MacTimeouts timeouts = {.answer = std::chrono::seconds(1), .retry = std::chrono::seconds(1)};
    ScriptedMac mac;
    LoopUnderTest under;
    SimulatedMacPowerNotifications notifications{mac.folder(), under.loop, timeouts};
    int messages = 0;
    std::function<void()> onMessage = [] {};
};

TEST_F(FailingPowerDomainTest, NonsenseInAnswerToARegistrationIsNone) {
    for (const auto& bytes : nonsense())
        EXPECT_EQ(registerWith(bytes), nullptr);
}

TEST_F(FailingPowerDomainTest, AMacThatAcceptsNobodyIsRegisteredWithLater) {
    auto waiting = mac.fillBacklog();
    const auto registration = registerOnce();
    ASSERT_NE(registration, nullptr);
    registration->allowPowerChange(1);
    run(1.5);
    mac.clearBacklog();
    waiting.clear();
    runWith(done);
    EXPECT_EQ(messagesAfterOneMore(), 1);
}

TEST_F(FailingPowerDomainTest, AMacThatDoesNotAnswerARegistrationIsRegisteredWithLater) {
    const auto registration = registerOnce();
    ASSERT_NE(registration, nullptr);
    mac.clearBacklog();
    runWith(done);
    EXPECT_EQ(messagesAfterOneMore(), 1);
}

TEST_F(FailingPowerDomainTest, AProcessWithoutDescriptorsRegistersLater) {
    // A sanitizer needs descriptors when it sees objects for the first time.
    std::unique_ptr<PowerRegistration> registration = registerOnce();
    registration.reset();
    mac.clearBacklog();
    static_cast<void>(std::system_error(EMFILE, std::generic_category(), "seen"));
    {
        const NoDescriptorsLeft none;
        registration = registerOnce();
    }
    ASSERT_NE(registration, nullptr);
    runWith(done);
    EXPECT_EQ(messagesAfterOneMore(), 1);
}

TEST_F(FailingPowerDomainTest, AMacThatHasBeenRestartedIsRegisteredWithAgain) {
    const auto registration = registerWith(done);
    ASSERT_NE(registration, nullptr);
    for (int restarts = 1; restarts <= 2; ++restarts) {
        mac.goAway();
        run(3600);
        mac.comeBack();
        runWith(done);
        EXPECT_EQ(messagesAfterOneMore(), restarts);
    }
}

TEST_F(FailingPowerDomainTest, AMacIsRegisteredWithWithinASecondOfItsRestart) {
    const auto registration = registerWith(done);
    ASSERT_NE(registration, nullptr);
    mac.hangUp();
    mac.during(done, [this] {
        run(1.01);
        return 0;
    });
    EXPECT_EQ(messagesAfterOneMore(), 1);
}

TEST_F(FailingPowerDomainTest, ARegistrationThatHasEndedIsNotMadeUpFor) {
    auto registration = registerWith(done);
    ASSERT_NE(registration, nullptr);
    mac.hangUp();
    run();
    registration.reset();
    run(60);
    EXPECT_FALSE(mac.isAskedToAccept());
}

TEST_F(FailingPowerDomainTest, ARegistrationThatWasMadeUpForMayEndFromItsOwnCallback) {
    auto registration = registerWith(done);
    ASSERT_NE(registration, nullptr);
    onMessage = [&registration] { registration.reset(); };
    mac.hangUp();
    runWith(done);
    EXPECT_EQ(messagesAfterOneMore(), 1);
    EXPECT_EQ(registration, nullptr);
    run(60);
    EXPECT_FALSE(mac.isAskedToAccept());
}

TEST_F(FailingPowerDomainTest, NonsenseForAnAnnouncementIsDroppedAndTheMacRegisteredWithAgain) {
    const auto registration = registerWith(done);
    ASSERT_NE(registration, nullptr);
    EXPECT_EQ(messagesAfterOneMore(), 1);
    mac.say(Done{});
    mac.say(PowerAnnouncement{});
    run();
    EXPECT_EQ(messages, 1);
    runWith(done);
    EXPECT_EQ(messagesAfterOneMore(), 2);
}

TEST_F(FailingPowerDomainTest, AllowingSleepToAMacThatHasGoneThrowsNothing) {
    const auto registration = registerWith(done);
    ASSERT_NE(registration, nullptr);
    mac.hangUp();
    EXPECT_NO_THROW(registration->allowPowerChange(1));
    run();
    EXPECT_NO_THROW(registration->allowPowerChange(2));
}

} // namespace
} // namespace kelo
