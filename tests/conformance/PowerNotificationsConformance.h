#pragma once

#include <gmock/gmock.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <thread>
#include <utility>
#include <vector>

#include "core/hold/PowerNotifications.h"

namespace kelo {

/// What every source of power messages must do. The test's own thread is the main thread. The harness:
///
///     PowerNotifications& notifications();
///     void removePowerDomain();       // before anybody registers: there is nothing to register with
///     void send(std::uint32_t messageType, std::intptr_t argument);  // the root power domain announces something
///     void run();                     // lets the main thread run until what was sent has been delivered
///     std::vector<std::intptr_t> allowed();  // the answers that the root power domain has received, in order
template <typename Harness>
class PowerNotificationsConformance : public ::testing::Test {
protected:
    static constexpr std::uint32_t canSleep = 0xE0000270;
    static constexpr std::uint32_t willSleep = 0xE0000280;
    static constexpr std::uint32_t willPowerOn = 0xE0000320;
    static constexpr std::uint32_t hasPoweredOn = 0xE0000300;

    /// A client that notes what it is told, and answers on the spot if `onMessage` does.
    struct Client {
        using Message = std::pair<std::uint32_t, std::intptr_t>;
        std::unique_ptr<PowerRegistration> registration;
        std::vector<Message> messages;
        std::thread::id toldOn;
        std::function<void(Client&)> onMessage = [](Client&) {};
    };

    static void receive(void* refcon, std::uint32_t, std::uint32_t messageType, void* messageArgument) {
        auto& client = *static_cast<Client*>(refcon);
        client.messages.emplace_back(messageType, reinterpret_cast<std::intptr_t>(messageArgument));
        client.toldOn = std::this_thread::get_id();
        client.onMessage(client);
    }

    void registerClient(Client& client) {
        client.registration = harness.notifications().registerForSystemPower(&client, receive);
    }

    void send(std::uint32_t messageType, std::intptr_t argument) {
        harness.send(messageType, argument);
        harness.run();
    }

    Harness harness;
};

TYPED_TEST_SUITE_P(PowerNotificationsConformance);

TYPED_TEST_P(PowerNotificationsConformance, DeliversEachMessageWithItsArgumentOnTheMainThread) {
    typename TestFixture::Client client;
    this->registerClient(client);
    ASSERT_NE(client.registration, nullptr);
    this->send(TestFixture::canSleep, 17);
    this->send(TestFixture::willSleep, 18);
    this->send(TestFixture::willPowerOn, 0);
    this->send(TestFixture::hasPoweredOn, 0);
    EXPECT_THAT(client.messages, ::testing::ElementsAre(::testing::Pair(TestFixture::canSleep, 17),
                                                        ::testing::Pair(TestFixture::willSleep, 18),
                                                        ::testing::Pair(TestFixture::willPowerOn, 0),
                                                        ::testing::Pair(TestFixture::hasPoweredOn, 0)));
    EXPECT_EQ(client.toldOn, std::this_thread::get_id());
}

TYPED_TEST_P(PowerNotificationsConformance, ThereIsNoRegistrationWithoutARootPowerDomain) {
    this->harness.removePowerDomain();
    typename TestFixture::Client client;
    this->registerClient(client);
    EXPECT_EQ(client.registration, nullptr);
}

TYPED_TEST_P(PowerNotificationsConformance, AnAnswerReachesTheRootPowerDomainUnchanged) {
    typename TestFixture::Client client;
    client.onMessage = [](auto& told) { told.registration->allowPowerChange(told.messages.back().second); };
    this->registerClient(client);
    this->send(TestFixture::willSleep, 0x1234567);
    EXPECT_THAT(this->harness.allowed(), ::testing::ElementsAre(0x1234567));
}

TYPED_TEST_P(PowerNotificationsConformance, NothingIsAnsweredByItself) {
    typename TestFixture::Client client;
    this->registerClient(client);
    this->send(TestFixture::canSleep, 1);
    this->send(TestFixture::willSleep, 2);
    EXPECT_THAT(this->harness.allowed(), ::testing::IsEmpty());
}

TYPED_TEST_P(PowerNotificationsConformance, NoMessageIsDeliveredOnceTheRegistrationHasEnded) {
    typename TestFixture::Client client;
    this->registerClient(client);
    this->harness.send(TestFixture::willSleep, 3); // on its way
    client.registration.reset();
    this->harness.run();
    this->send(TestFixture::hasPoweredOn, 0);
    EXPECT_THAT(client.messages, ::testing::IsEmpty());
}

TYPED_TEST_P(PowerNotificationsConformance, ARegistrationMayEndFromItsOwnCallback) {
    typename TestFixture::Client client;
    client.onMessage = [](auto& told) { told.registration.reset(); };
    this->registerClient(client);
    this->send(TestFixture::willSleep, 4);
    this->send(TestFixture::hasPoweredOn, 0);
    EXPECT_THAT(client.messages, ::testing::ElementsAre(::testing::Pair(TestFixture::willSleep, 4)));
}

TYPED_TEST_P(PowerNotificationsConformance, OneMayRegisterAgain) {
    typename TestFixture::Client client;
    this->registerClient(client);
    client.registration.reset();
    this->registerClient(client);
    this->send(TestFixture::willSleep, 5);
    EXPECT_THAT(client.messages, ::testing::ElementsAre(::testing::Pair(TestFixture::willSleep, 5)));
}

REGISTER_TYPED_TEST_SUITE_P(PowerNotificationsConformance, DeliversEachMessageWithItsArgumentOnTheMainThread,
                            ThereIsNoRegistrationWithoutARootPowerDomain, AnAnswerReachesTheRootPowerDomainUnchanged,
                            NothingIsAnsweredByItself, NoMessageIsDeliveredOnceTheRegistrationHasEnded,
                            ARegistrationMayEndFromItsOwnCallback, OneMayRegisterAgain);

} // namespace kelo
