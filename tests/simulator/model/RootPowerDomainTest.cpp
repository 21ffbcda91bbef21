#include "simulator/model/RootPowerDomain.h"

#include <gmock/gmock.h>

#include <optional>
#include <string>
#include <vector>

#include "testing/VirtualQueue.h"

namespace kelo {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

class RootPowerDomainTest : public ::testing::Test {
protected:
    using Announcement = RootPowerDomain::Announcement;

    struct Client {
        int number = 0;
        std::vector<Announcement> announcements;
        std::int64_t lastID = 0;
    };

    /// Adds a client that acknowledges only when the test calls `acknowledge`.
    std::unique_ptr<Client> addClient() {
        auto client = std::make_unique<Client>();
        client->number = domain.addClient([client = client.get()](Announcement announcement, std::int64_t id) {
            client->announcements.push_back(announcement);
            client->lastID = id;
        });
        return client;
    }
    void acknowledge(const Client& client) { domain.acknowledge(client.number, client.lastID); }
    bool sleep() {
        return domain.sleep(RootPowerDomain::Cause::idleness, [this](const auto& made) { report = made; });
    }

    static constexpr auto can = Announcement::canSystemSleep;
    static constexpr auto will = Announcement::systemWillSleep;

    double now = 0;
    VirtualQueue queue{now};
    RootPowerDomain domain{queue, [this] { return now; }};
    std::optional<RootPowerDomain::SleepReport> report;
};

TEST_F(RootPowerDomainTest, SleepsAtOnceWithoutClients) {
    EXPECT_TRUE(sleep());
    EXPECT_TRUE(report.has_value());
    EXPECT_TRUE(domain.isAsleep());
}

TEST_F(RootPowerDomainTest, AsksClientsThenAnnouncesSleepAndAwaitsEachAcknowledgement) {
    const auto first = addClient();
    const auto second = addClient();
    EXPECT_TRUE(sleep());
    EXPECT_THAT(first->announcements, ElementsAre(can));
    acknowledge(*first);
    EXPECT_THAT(second->announcements, ElementsAre(can));
    acknowledge(*second);
    EXPECT_THAT(first->announcements, ElementsAre(can, will));
    queue.runFor(1.5);
    acknowledge(*second);
    EXPECT_FALSE(report.has_value());
    queue.runFor(0.5);
    acknowledge(*first);
    ASSERT_TRUE(report.has_value());
    EXPECT_DOUBLE_EQ(report->seconds, 2.0);
    EXPECT_EQ(report->acknowledged, 2);
    EXPECT_EQ(report->missing, 0);
}

TEST_F(RootPowerDomainTest, WaitsThirtySecondsInEachRoundForAClientThatDoesNotAnswer) {
    const auto client = addClient();
    sleep();
    queue.runFor(29.9);
    EXPECT_THAT(client->announcements, ElementsAre(can));
    queue.runFor(0.1);
    EXPECT_THAT(client->announcements, ElementsAre(can, will));
    queue.runFor(30);
    ASSERT_TRUE(report.has_value());
    EXPECT_EQ(report->missing, 1);
    EXPECT_EQ(report->acknowledged, 0);
}

TEST_F(RootPowerDomainTest, IgnoresDuplicateAcknowledgementsAndThoseFromAnotherRound) {
    const auto first = addClient();
    const auto second = addClient();
    sleep();
    const auto oldID = first->lastID;
    acknowledge(*first);
    acknowledge(*first);
    EXPECT_THAT(first->announcements, ElementsAre(can));
    acknowledge(*second);
    domain.acknowledge(first->number, oldID);
    acknowledge(*second);
    EXPECT_FALSE(report.has_value());
}

TEST_F(RootPowerDomainTest, DoesNotWaitForAClientThatDisconnected) {
    const auto client = addClient();
    sleep();
    domain.removeClient(client->number);
    EXPECT_TRUE(report.has_value());
    EXPECT_EQ(domain.clientCount(), 0U);
}

TEST_F(RootPowerDomainTest, AnnouncesWakeToAllClientsWithoutWaiting) {
    EXPECT_FALSE(domain.wake());
    sleep();
    const auto client = addClient();
    EXPECT_TRUE(domain.wake());
    EXPECT_THAT(client->announcements, ElementsAre(Announcement::systemWillPowerOn, Announcement::systemHasPoweredOn));
    EXPECT_FALSE(domain.isAsleep());
    EXPECT_FALSE(domain.wake());
}

TEST_F(RootPowerDomainTest, AnnouncesSleepOnDemandWithoutAskingFirst) {
    const auto client = addClient();
    EXPECT_TRUE(domain.sleep(RootPowerDomain::Cause::demand, [this](const auto& made) { report = made; }));
    EXPECT_THAT(client->announcements, ElementsAre(will));
    acknowledge(*client);
    EXPECT_TRUE(domain.isAsleep());
    EXPECT_EQ(report.value().acknowledged, 1);
}

TEST_F(RootPowerDomainTest, RefusesSleepWhileAsleepOrGoingToSleep) {
    const auto client = addClient();
    sleep();
    EXPECT_FALSE(sleep());
    acknowledge(*client);
    EXPECT_FALSE(sleep());
    acknowledge(*client);
    EXPECT_FALSE(sleep());
}

TEST_F(RootPowerDomainTest, AcceptsAnAcknowledgementDuringTheAnnouncement) {
    int number = 0;
    number = domain.addClient([&](Announcement announcement, std::int64_t id) {
        if (announcement != Announcement::systemHasPoweredOn)
            domain.acknowledge(number, id);
    });
    EXPECT_TRUE(sleep());
    ASSERT_TRUE(report.has_value());
    EXPECT_EQ(report->acknowledged, 1);
    EXPECT_EQ(queue.liveTimers(), 0);
}

} // namespace
} // namespace kelo
