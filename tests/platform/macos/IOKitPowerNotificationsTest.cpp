#include "platform/macos/IOKitPowerNotifications.h"

#include <IOKit/IOMessage.h>

#include <array>
#include <stdexcept>

#include "core/hold/PowerWatch.h"
#include "platform/macos/DispatchMainQueue.h"
#include "tests/platform/macos/doubles/IOKitDouble.h"
#include "tests/platform/macos/doubles/LogDouble.h"
#include "tests/platform/macos/doubles/OnDoubles.h"

namespace kelo {
namespace {

using doubles::journal;
using doubles::kernel;
using doubles::mainLoop;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;

void ignoreMessage(PowerMessage, std::intptr_t) {}

class IOKitPowerNotificationsTest : public doubles::OnDoubles {
protected:
    IOKitPowerNotifications notifications;
};

TEST_F(IOKitPowerNotificationsTest, AddsThePortsSourceToTheCallersRunLoop) {
    const auto registration = notifications.registerForSystemPower(ignoreMessage);
    EXPECT_THAT(journal().take(), ElementsAre("IORegisterForSystemPower", "IONotificationPortGetRunLoopSource",
                                              "CFRunLoopAddSource main default"));
    EXPECT_THAT(journal().live(),
                ElementsAre("CFRunLoopSource: 1", "notification port: 1", "notifier: 1", "root port: 1"));
}

TEST_F(IOKitPowerNotificationsTest, DeregistersInTheRequiredOrder) {
    auto registration = notifications.registerForSystemPower(ignoreMessage);
    journal().take();
    registration.reset();
    EXPECT_THAT(journal().take(),
                ElementsAre("CFRunLoopRemoveSource main default", "IODeregisterForSystemPower notifier",
                            "IOServiceClose root port", "IONotificationPortDestroy"));
    EXPECT_THAT(journal().live(), IsEmpty());
}

TEST_F(IOKitPowerNotificationsTest, ReturnsNullIfTheRegistrationFails) {
    kernel().isRegistrationFailing = true;
    EXPECT_EQ(notifications.registerForSystemPower(ignoreMessage), nullptr);
    EXPECT_THAT(journal().take(), ElementsAre("IORegisterForSystemPower"));
}

TEST_F(IOKitPowerNotificationsTest, ReturnsNullWithoutANotificationPort) {
    kernel().isPortMissing = true;
    EXPECT_EQ(notifications.registerForSystemPower(ignoreMessage), nullptr);
    EXPECT_THAT(journal().take(), ElementsAre("IORegisterForSystemPower"));
}

TEST_F(IOKitPowerNotificationsTest, DeregistersAPortWithoutARunLoopSource) {
    kernel().isRunLoopSourceMissing = true;
    EXPECT_EQ(notifications.registerForSystemPower(ignoreMessage), nullptr);
    auto calls = journal().take();
    std::erase(calls, "os_log_create app.kelo.helper platform"); // created by the process's first fault
    EXPECT_THAT(calls, ElementsAre("IORegisterForSystemPower", "IONotificationPortGetRunLoopSource",
                                   "IODeregisterForSystemPower notifier", "IOServiceClose root port",
                                   "IONotificationPortDestroy"));
    EXPECT_THAT(journal().live(), IsEmpty());
    ASSERT_THAT(doubles::logEntries(), SizeIs(1));
    EXPECT_EQ(doubles::logEntries()[0].text,
              "registering for system power: the notification port has no run-loop source");
}

TEST_F(IOKitPowerNotificationsTest, AcknowledgesOverTheRootPortWithTheMessagesArgument) {
    const auto registration = notifications.registerForSystemPower(ignoreMessage);
    journal().take();
    registration->allowPowerChange(0x7654321);
    registration->allowPowerChange(-1);
    EXPECT_THAT(journal().take(),
                ElementsAre("IOAllowPowerChange root port 124076833", "IOAllowPowerChange root port -1"));
}

TEST_F(IOKitPowerNotificationsTest, IgnoresARefusedAcknowledgement) {
    kernel().allowStatus = kIOReturnBadArgument;
    const auto registration = notifications.registerForSystemPower(ignoreMessage);
    registration->allowPowerChange(1);
    EXPECT_THAT(kernel().allowed, SizeIs(1));
}

TEST_F(IOKitPowerNotificationsTest, ReportsExceptionsFromTheCallbackAndContinues) {
    int messages = 0;
    const auto registration = notifications.registerForSystemPower([&](PowerMessage, std::intptr_t) {
        ++messages;
        throw std::runtime_error("broken");
    });
    doubles::sendPowerMessage(kIOMessageSystemHasPoweredOn, 0);
    doubles::sendPowerMessage(kIOMessageSystemHasPoweredOn, 0);
    mainLoop().runFor(0);
    EXPECT_EQ(messages, 2);
    ASSERT_THAT(doubles::logEntries(), SizeIs(2));
    EXPECT_EQ(doubles::logEntries()[0].text, "a power message: broken");
}

TEST_F(IOKitPowerNotificationsTest, DeliversMessagesWhenMemoryRunsOut) {
    std::array<std::intptr_t, 8> answers{}; // too large to be copied without allocating
    std::size_t count = 0;
    auto* const counted = &count;
    const auto registration = notifications.registerForSystemPower(
        [answers, counted](PowerMessage, std::intptr_t) { *counted = answers.size(); });
    kernel().isMemoryShort = true;
    doubles::sendPowerMessage(kIOMessageSystemWillSleep, 1);
    mainLoop().runFor(0);
    EXPECT_EQ(count, answers.size());
}

TEST_F(IOKitPowerNotificationsTest, DeliversMessagesBeforeTimersAndTasks) {
    std::vector<std::string> order;
    DispatchMainQueue queue;
    const auto registration =
        notifications.registerForSystemPower([&](PowerMessage, std::intptr_t) { order.emplace_back("message"); });
    const auto timer = queue.scheduleTimer(0.1, false, [&] { order.emplace_back("timer"); });
    queue.post([&] { order.emplace_back("task"); });
    mainLoop().block(0.2);
    doubles::sendPowerMessage(kIOMessageSystemWillSleep, 1);
    mainLoop().runFor(0);
    EXPECT_THAT(order, ElementsAre("message", "task", "timer"));
}

TEST_F(IOKitPowerNotificationsTest, IgnoresMessagesWithoutARegistration) {
    int messages = 0;
    const auto registration = notifications.registerForSystemPower([&](PowerMessage, std::intptr_t) { ++messages; });
    doubles::sendPowerMessageWithoutRefcon(kIOMessageSystemWillSleep, 0);
    mainLoop().runFor(0);
    EXPECT_EQ(messages, 0);
}

class PowerWatchOnIOKit : public IOKitPowerNotificationsTest {
protected:
    PowerWatchOnIOKit() { watch.start(); }

    void send(std::uint32_t messageType, std::intptr_t argument) {
        doubles::sendPowerMessage(messageType, argument);
        mainLoop().runFor(0);
    }

    /// Returns the journal's entries about the watch and its acknowledgements.
    std::vector<std::string> watchEntries() {
        std::vector<std::string> all;
        for (const auto& entry : journal().take())
            if (entry.starts_with("IOAllowPowerChange") || entry.starts_with("watch:"))
                all.push_back(entry);
        return all;
    }

    PowerWatch watch{notifications, [] { journal().add("watch: will sleep"); },
                     [] { journal().add("watch: did wake"); }};
};

TEST_F(PowerWatchOnIOKit, AcknowledgesOnlyTheTwoSleepMessages) {
    send(kIOMessageCanSystemSleep, 11);
    EXPECT_THAT(watchEntries(), ElementsAre("IOAllowPowerChange root port 11"));
    send(kIOMessageSystemWillSleep, 12);
    EXPECT_THAT(watchEntries(), ElementsAre("watch: will sleep", "IOAllowPowerChange root port 12"));
    send(kIOMessageSystemHasPoweredOn, 13);
    EXPECT_THAT(watchEntries(), ElementsAre("watch: did wake"));
    for (const std::uint32_t message : {0xE0000290U, 0xE0000320U, 0xE0000250U, 0xE0000310U, 0x280U, 0U})
        send(message, 14);
    EXPECT_THAT(watchEntries(), IsEmpty());
}

} // namespace
} // namespace kelo
