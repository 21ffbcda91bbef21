// Tests the hardware access with a simulated Mac that exits, refuses or sends invalid messages.

#include <gmock/gmock.h>

#include <cerrno>
#include <chrono>
#include <functional>
#include <memory>
#include <system_error>
#include <thread>
#include <vector>

#include "platform/linux/hardware/MacWire.h"
#include "platform/linux/hardware/SimulatedMacHardware.h"
#include "platform/linux/hardware/SimulatedMacPowerNotifications.h"
#include "testing/DescriptorLimit.h"
#include "testing/ScriptedMac.h"
#include "tests/platform/linux/conformance/LoopUnderTest.h"

namespace kelo {
namespace {

using namespace mac_wire;
using Bytes = ScriptedMac::Bytes;

template <typename Record>
Bytes wire(const Record& record) {
    const auto bytes = bytesOf(record);
    return {bytes.begin(), bytes.end()};
}

/// Timeouts that are long enough for a busy machine to answer, and short enough for tests of a Mac that does not
/// answer.
constexpr MacTimeouts shortTimeouts = {
    .answer = std::chrono::seconds(1), .retry = std::chrono::milliseconds(250), .memory = std::chrono::seconds(30)};

class FailingMacTest : public ::testing::Test {
protected:
    FailingMacTest() {
        ofAnotherKey.key = smcCode("F0Ac");
        ofAnotherCommand.data8 = static_cast<std::uint8_t>(SMCCommand::readKeyInfo);
    }
    bool exchangeOnce() { return hardware.exchange(connection, {}, reply); }
    template <typename... Answers>
    bool exchangeAnsweredWith(const Answers&... answers) {
        return mac.answering({answers...}, [this] { return exchangeOnce(); });
    }
    template <typename... Answers>
    ClamshellProperty lidAnsweredWith(const Answers&... answers) {
        return mac.answering({answers...}, [this] { return hardware.clamshellState(); });
    }
    template <typename Work>
    static std::chrono::milliseconds durationOf(const Work& work) {
        const auto start = std::chrono::steady_clock::now();
        work();
        return std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - start);
    }

    SMCKeyData ofAnotherKey{};
    SMCKeyData ofAnotherCommand{};
    const Bytes done = wire(SMCKeyData{});
    ScriptedMac mac{hardwareSocket};
    SimulatedMacHardware hardware{mac.folder(), shortTimeouts};
    const std::uint32_t connection = hardware.open();
    SMCKeyData reply{};
};

TEST_F(FailingMacTest, SendsAndReceivesRecordsByteForByte) {
    SMCKeyData record{};
    auto bytes = bytesOf(record);
    for (std::size_t i = 0; i < bytes.size(); ++i)
        bytes[i] = static_cast<std::uint8_t>(i + 1);
    std::jthread asking([&] { EXPECT_TRUE(hardware.exchange(connection, record, reply)); });
    mac.accept();
    EXPECT_EQ(mac.receive(), wire(record));
    mac.send(wire(record));
    asking.join();
    EXPECT_EQ(wire(reply), wire(record));
}

TEST_F(FailingMacTest, RetriesAnExchangeOnceAfterAnInvalidAnswer) {
    for (const auto& invalid :
         {Bytes(2), Bytes(16), Bytes(79), Bytes(81), wire(ofAnotherKey), wire(ofAnotherCommand)}) {
        EXPECT_TRUE(exchangeAnsweredWith(invalid, done)) << invalid.size();
        EXPECT_FALSE(exchangeAnsweredWith(invalid, invalid)) << invalid.size();
    }
    static_assert(noexcept(std::declval<SimulatedMacHardware>().exchange(0, {}, std::declval<SMCKeyData&>())));
    static_assert(noexcept(std::declval<SimulatedMacHardware>().close(0)));
}

TEST_F(FailingMacTest, ADuplicateAnswerDoesNotShiftLaterAnswers) {
    for (const auto& next : {ofAnotherKey, ofAnotherCommand}) {
        EXPECT_TRUE(exchangeAnsweredWith(done));
        mac.send(done);
        std::jthread asking([&] { EXPECT_TRUE(hardware.exchange(connection, next, reply)); });
        mac.accept(); // a new connection without old answers
        EXPECT_EQ(mac.receive(), wire(next));
        mac.send(wire(next));
        asking.join();
        EXPECT_EQ(wire(reply), wire(next));
    }
}

TEST_F(FailingMacTest, AFailedExchangeDoesNotCountAsALostLink) {
    EXPECT_FALSE(exchangeAnsweredWith(wire(failedExchange)));
    EXPECT_TRUE(hardware.hasLink());
    mac.shutDown();
    EXPECT_FALSE(exchangeOnce());
    EXPECT_FALSE(hardware.hasLink());
}

TEST_F(FailingMacTest, RetriesALidQueryOnceAfterAnInvalidAnswer) {
    const Bytes unknownState = wire(LidRecord{static_cast<LidState>(4), 1});
    const Bytes closed = wire(encode(true));
    for (const auto& invalid : {Bytes(1), Bytes(15), unknownState, Bytes(17), done}) {
        EXPECT_EQ(lidAnsweredWith(invalid, closed), ClamshellProperty(true)) << invalid.size();
        EXPECT_EQ(lidAnsweredWith(invalid, invalid), ClamshellProperty()) << invalid.size();
    }
}

TEST_F(FailingMacTest, TheExchangeAfterATimeoutSucceeds) {
    mac.accept();
    EXPECT_FALSE(exchangeOnce());
    EXPECT_TRUE(exchangeAnsweredWith(done));
}

TEST_F(FailingMacTest, AnExchangeReachesARestartedMac) {
    mac.accept();
    mac.shutDown();
    mac.restart();
    EXPECT_TRUE(exchangeAnsweredWith(done));
}

TEST_F(FailingMacTest, ExchangesFailWithoutAMacAndSucceedOnceItIsBack) {
    mac.accept();
    mac.shutDown();
    EXPECT_FALSE(exchangeOnce());
    EXPECT_FALSE(exchangeOnce());
    mac.restart();
    EXPECT_TRUE(exchangeAnsweredWith(done));
}

TEST_F(FailingMacTest, AClosedConnectionStaysClosedWhenTheMacIsRestarted) {
    mac.accept();
    hardware.close(connection);
    mac.shutDown();
    mac.restart();
    EXPECT_FALSE(exchangeOnce());
}

TEST_F(FailingMacTest, ShortensTheTimeoutUntilAHungMacAnswers) {
    const auto queryLid = [this] { EXPECT_EQ(hardware.clamshellState(), ClamshellProperty()); };
    mac.accept();
    EXPECT_GE(durationOf([this] { exchangeOnce(); }), shortTimeouts.answer);
    EXPECT_LT(durationOf([this] { exchangeOnce(); }), shortTimeouts.answer);
    EXPECT_LT(durationOf(queryLid), shortTimeouts.answer);
    mac.clearBacklog();
    EXPECT_TRUE(exchangeAnsweredWith(done));
    EXPECT_GE(durationOf(queryLid), shortTimeouts.answer);
}

TEST_F(FailingMacTest, RestoresTheFullTimeoutLongAfterAHang) {
    const MacTimeouts shortMemory = {shortTimeouts.answer, shortTimeouts.retry, std::chrono::milliseconds(1)};
    SimulatedMacHardware other(mac.folder(), shortMemory);
    const auto handle = other.open();
    EXPECT_FALSE(other.exchange(handle, {}, reply));
    std::this_thread::sleep_for(shortMemory.memory);
    EXPECT_GE(durationOf([&] { EXPECT_FALSE(other.exchange(handle, {}, reply)); }), shortMemory.answer);
}

TEST_F(FailingMacTest, WaitsBrieflyForAMacThatAcceptsNoConnection) {
    hardware.close(connection);
    const auto waiting = mac.fillBacklog();
    EXPECT_LT(durationOf([this] { EXPECT_EQ(hardware.open(), 0U); }), shortTimeouts.answer);
    EXPECT_LT(durationOf([this] { EXPECT_EQ(hardware.clamshellState(), ClamshellProperty()); }), shortTimeouts.answer);
}

class FailingPowerDomainTest : public ::testing::Test {
protected:
    std::unique_ptr<PowerRegistration> registerOnce() {
        return notifications.registerForSystemPower([this](PowerMessage told, std::intptr_t) {
            received.push_back(told);
            ++messages;
            onMessage();
        });
    }
    std::unique_ptr<PowerRegistration> registerWith(const Bytes& answer) {
        return mac.during(answer, [this] { return registerOnce(); });
    }
    /// Runs the loop for a minute while the Mac accepts a registration and sends `answer`.
    void runWith(const Bytes& answer) {
        mac.during(answer, [this] {
            run(60);
            return 0;
        });
    }
    /// Runs the loop for `seconds`. The default is just long enough to handle ready events.
    void run(double seconds = 0.05) { under.run(seconds); }
    int messagesAfterOneMore() {
        mac.send(message);
        run();
        return messages;
    }

    const Bytes done = wire(PowerRecord{PowerEvent::registered, 0});
    const Bytes message = wire(PowerRecord{PowerEvent::canSleep, 1});
    const MacTimeouts timeouts = {.answer = std::chrono::seconds(1), .retry = std::chrono::seconds(1)};
    ScriptedMac mac{powerSocket};
    LoopUnderTest under;
    SimulatedMacPowerNotifications notifications{mac.folder(), under.loop, timeouts};
    int messages = 0;
    std::vector<PowerMessage> received;
    std::function<void()> onMessage = [] {};
};

/// Starts with a registration that the Mac has accepted.
class LostRegistrationTest : public FailingPowerDomainTest {
protected:
    LostRegistrationTest() { EXPECT_NE(registration, nullptr); }

    std::unique_ptr<PowerRegistration> registration = registerWith(done);
};

TEST_F(FailingPowerDomainTest, DoesNotRegisterAfterAnInvalidAnswer) {
    for (const auto& bytes : {Bytes(1), Bytes(15), message, wire(PowerRecord{static_cast<PowerEvent>(5), 0})})
        EXPECT_EQ(registerWith(bytes), nullptr);
}

TEST_F(FailingPowerDomainTest, RegistersLaterIfTheMacAcceptsNoConnection) {
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

TEST_F(FailingPowerDomainTest, RegistersLaterIfTheMacDoesNotAnswer) {
    const auto registration = registerOnce();
    ASSERT_NE(registration, nullptr);
    mac.clearBacklog();
    runWith(done);
    EXPECT_EQ(messagesAfterOneMore(), 1);
}

TEST_F(FailingPowerDomainTest, RegistersLaterIfNoDescriptorIsLeft) {
    // Uses the objects once, because a sanitizer needs free descriptors when it first checks an object.
    std::unique_ptr<PowerRegistration> registration = registerOnce();
    registration.reset();
    mac.clearBacklog();
    static_cast<void>(std::system_error(EMFILE, std::generic_category(), "seen"));
    {
        const DescriptorLimit none;
        registration = registerOnce();
    }
    ASSERT_NE(registration, nullptr);
    runWith(done);
    EXPECT_EQ(messagesAfterOneMore(), 1);
}

TEST_F(LostRegistrationTest, RegistersAgainAfterEachRestart) {
    for (int restarts = 1; restarts <= 2; ++restarts) {
        mac.shutDown();
        run(3600);
        mac.restart();
        runWith(done);
        EXPECT_EQ(messagesAfterOneMore(), restarts);
    }
}

TEST_F(LostRegistrationTest, ReportsAMissedWakeOrSleepAtTheNextRegistration) {
    mac.send(wire(PowerRecord{PowerEvent::willSleep, 7}));
    run();
    mac.hangUp();
    runWith(done); // awake again, as after a restart
    EXPECT_THAT(received, ::testing::ElementsAre(PowerMessage::systemWillSleep, PowerMessage::systemHasPoweredOn));
    mac.hangUp();
    runWith(wire(PowerRecord{PowerEvent::registered, 1}));
    mac.hangUp();
    runWith(wire(PowerRecord{PowerEvent::registered, 1}));
    EXPECT_THAT(received, ::testing::ElementsAre(PowerMessage::systemWillSleep, PowerMessage::systemHasPoweredOn,
                                                 PowerMessage::systemWillSleep));
}

TEST_F(LostRegistrationTest, RegistersWithinASecondOfARestart) {
    mac.hangUp();
    mac.during(done, [this] {
        run(1.01);
        return 0;
    });
    EXPECT_EQ(messagesAfterOneMore(), 1);
}

TEST_F(LostRegistrationTest, AnEndedRegistrationIsNotRenewed) {
    mac.hangUp();
    run();
    registration.reset();
    run(60);
    EXPECT_FALSE(mac.hasPendingConnection());
}

TEST_F(LostRegistrationTest, ACallbackMayEndARenewedRegistration) {
    onMessage = [this] { registration.reset(); };
    mac.hangUp();
    runWith(done);
    EXPECT_EQ(messagesAfterOneMore(), 1);
    EXPECT_EQ(registration, nullptr);
    run(60);
    EXPECT_FALSE(mac.hasPendingConnection());
}

TEST_F(LostRegistrationTest, DropsAnInvalidMessageAndRegistersAgain) {
    int expected = 0;
    for (const auto& bytes : {Bytes(1), Bytes(17), done, wire(PowerRecord{static_cast<PowerEvent>(5), 0})}) {
        mac.send(bytes);
        mac.send(message);
        run();
        EXPECT_EQ(messages, expected);
        runWith(done);
        EXPECT_EQ(messagesAfterOneMore(), ++expected);
    }
}

TEST_F(LostRegistrationTest, AllowingSleepDoesNotThrowAfterTheMacHasExited) {
    mac.hangUp();
    EXPECT_NO_THROW(registration->allowPowerChange(1));
    run();
    EXPECT_NO_THROW(registration->allowPowerChange(2));
}

} // namespace
} // namespace kelo
