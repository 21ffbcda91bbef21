#pragma once

#include <gmock/gmock.h>

#include <functional>
#include <memory>
#include <thread>
#include <utility>
#include <vector>

#include "core/hold/PowerNotifications.h"

namespace kelo {

/// Tests every source of power messages. The test's thread is the main thread. The harness:
///
///     PowerNotifications& notifications();
///     void removePowerDomain();       // before any registration: makes registering impossible
///     void send(PowerMessage message, std::intptr_t notificationID);  // sends a message of the root power domain
///     void sendOther();               // sends a message that the helper does not use
///     void run();                     // runs the main thread until all messages are delivered
///     std::vector<std::intptr_t> allowed();  // the answers received by the root power domain, in order
template <typename Harness>
class PowerNotificationsConformance : public ::testing::Test {
protected:
    static constexpr auto canSleep = PowerMessage::canSystemSleep;
    static constexpr auto willSleep = PowerMessage::systemWillSleep;
    static constexpr auto hasPoweredOn = PowerMessage::systemHasPoweredOn;

    /// A client that records its messages and calls `onMessage` for each.
    struct Client {
        using Message = std::pair<PowerMessage, std::intptr_t>;
        std::unique_ptr<PowerRegistration> registration;
        std::vector<Message> messages;
        std::thread::id deliveredOn;
        std::function<void(Client&)> onMessage = [](Client&) {};
    };

    void registerClient(Client& client) {
        client.registration =
            harness.notifications().registerForSystemPower([&client](PowerMessage message, std::intptr_t id) {
                client.messages.emplace_back(message, id);
                client.deliveredOn = std::this_thread::get_id();
                client.onMessage(client);
            });
    }

    void send(PowerMessage message, std::intptr_t notificationID) {
        harness.send(message, notificationID);
        harness.run();
    }

    Harness harness;
};

TYPED_TEST_SUITE_P(PowerNotificationsConformance);

TYPED_TEST_P(PowerNotificationsConformance, DeliversOnlyKnownMessagesOnTheMainThread) {
    typename TestFixture::Client client;
    this->registerClient(client);
    ASSERT_NE(client.registration, nullptr);
    this->send(TestFixture::canSleep, 17);
    this->send(TestFixture::willSleep, 18);
    this->harness.sendOther();
    this->send(TestFixture::hasPoweredOn, 0);
    EXPECT_THAT(client.messages, ::testing::ElementsAre(::testing::Pair(TestFixture::canSleep, 17),
                                                        ::testing::Pair(TestFixture::willSleep, 18),
                                                        ::testing::Pair(TestFixture::hasPoweredOn, 0)));
    EXPECT_EQ(client.deliveredOn, std::this_thread::get_id());
}

TYPED_TEST_P(PowerNotificationsConformance, DoesNotRegisterWithoutARootPowerDomain) {
    this->harness.removePowerDomain();
    typename TestFixture::Client client;
    this->registerClient(client);
    EXPECT_EQ(client.registration, nullptr);
}

TYPED_TEST_P(PowerNotificationsConformance, ForwardsAnAnswerToTheRootPowerDomain) {
    typename TestFixture::Client client;
    client.onMessage = [](auto& told) { told.registration->allowPowerChange(told.messages.back().second); };
    this->registerClient(client);
    this->send(TestFixture::willSleep, 0x1234567);
    EXPECT_THAT(this->harness.allowed(), ::testing::ElementsAre(0x1234567));
}

TYPED_TEST_P(PowerNotificationsConformance, DoesNotAnswerByItself) {
    typename TestFixture::Client client;
    this->registerClient(client);
    this->send(TestFixture::canSleep, 1);
    this->send(TestFixture::willSleep, 2);
    EXPECT_THAT(this->harness.allowed(), ::testing::IsEmpty());
}

TYPED_TEST_P(PowerNotificationsConformance, DeliversNoMessageAfterTheRegistrationEnds) {
    typename TestFixture::Client client;
    this->registerClient(client);
    this->harness.send(TestFixture::willSleep, 3); // not delivered yet
    client.registration.reset();
    this->harness.run();
    this->send(TestFixture::hasPoweredOn, 0);
    EXPECT_THAT(client.messages, ::testing::IsEmpty());
}

TYPED_TEST_P(PowerNotificationsConformance, ACallbackMayEndItsRegistration) {
    typename TestFixture::Client client;
    client.onMessage = [](auto& told) { told.registration.reset(); };
    this->registerClient(client);
    this->send(TestFixture::willSleep, 4);
    this->send(TestFixture::hasPoweredOn, 0);
    EXPECT_THAT(client.messages, ::testing::ElementsAre(::testing::Pair(TestFixture::willSleep, 4)));
}

TYPED_TEST_P(PowerNotificationsConformance, ACallbackThatEndsItsRegistrationKeepsItsCaptures) {
    const auto held = std::make_shared<int>();
    std::unique_ptr<PowerRegistration> registration;
    long heldAfterwards = 0;
    registration = this->harness.notifications().registerForSystemPower(
        [held, counted = &held, ended = &registration, result = &heldAfterwards](PowerMessage, std::intptr_t) {
            // Copied to the stack, since the captures may be destroyed.
            const auto* const still = counted;
            long* const count = result;
            ended->reset();
            *count = still->use_count();
        });
    this->send(TestFixture::willSleep, 6);
    EXPECT_EQ(heldAfterwards, 2);
    EXPECT_EQ(held.use_count(), 1);
}

TYPED_TEST_P(PowerNotificationsConformance, AClientMayRegisterAgain) {
    typename TestFixture::Client client;
    this->registerClient(client);
    client.registration.reset();
    this->registerClient(client);
    this->send(TestFixture::willSleep, 5);
    EXPECT_THAT(client.messages, ::testing::ElementsAre(::testing::Pair(TestFixture::willSleep, 5)));
}

REGISTER_TYPED_TEST_SUITE_P(PowerNotificationsConformance, DeliversOnlyKnownMessagesOnTheMainThread,
                            DoesNotRegisterWithoutARootPowerDomain, ForwardsAnAnswerToTheRootPowerDomain,
                            DoesNotAnswerByItself, DeliversNoMessageAfterTheRegistrationEnds,
                            ACallbackMayEndItsRegistration, ACallbackThatEndsItsRegistrationKeepsItsCaptures,
                            AClientMayRegisterAgain);

} // namespace kelo
