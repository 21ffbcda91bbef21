#include "platform/linux/socket/server/SocketListener.h"

#include <future>

#include "tests/platform/linux/socket/SocketFixture.h"

namespace kelo {
namespace {

class SocketListenerTest : public SocketFixture {};

TEST_F(SocketListenerTest, CutsOffAPeerThatFailsTheCheckBeforeAdmission) {
    refusal = "not signed";
    RawClient client(folder.get());
    client.request(1, requests::HelperVersion{});
    EXPECT_TRUE(client.isCutOff());
    EXPECT_EQ(admission.asked(), 0);
    EXPECT_EQ(refusals, 1);
    EXPECT_EQ(helper->versions, 0);
}

TEST_F(SocketListenerTest, SendsRepliesInTheOrderTheyAreMade) {
    RawClient client(folder.get());
    client.request(1, requests::FetchSnapshot{});
    client.request(2, requests::HelperVersion{});
    EXPECT_TRUE(client.receiveReply<requests::HelperVersion>(2));
    ASSERT_TRUE(eventually([&] { return helper->kept() == 1; }));
    helper->sendKept();
    EXPECT_TRUE(client.receiveReply<requests::FetchSnapshot>(1));
}

TEST_F(SocketListenerTest, PerformsRequestsSentBeforeTheClientDisconnected) {
    for (const bool leavesUnread : {false, true}) {
        RawClient client(folder.get());
        EXPECT_EQ(client.version(1), 6);
        if (leavesUnread) {
            client.request(2, requests::HelperVersion{});
            ASSERT_TRUE(eventually([&] { return client.hasUnread(); }));
        }
        std::mutex pause; // keeps the listener's thread busy with another client
        std::unique_lock busy(pause);
        helper->onVersionRequest([&] { const std::lock_guard wait(pause); });
        const int before = helper->versions;
        RawClient other(folder.get());
        other.request(1, requests::HelperVersion{});
        ASSERT_TRUE(eventually([&] { return helper->versions > before; }));
        client.request(3, requests::HelperVersion{}); // its reply has no receiver
        client.request(4, requests::HandBack{});
        client.close();
        busy.unlock();
        EXPECT_TRUE(eventually([&] { return helper->kept() == 1; })) << leavesUnread;
        EXPECT_TRUE(eventually([&] { return admission.ended() == (leavesUnread ? 3 : 1); })) << leavesUnread;
        helper->sendKept();
        helper->onVersionRequest([] {});
    }
    EXPECT_EQ(admission.interrupted(), 0);
}

TEST_F(SocketListenerTest, AnAdmissionThatThrowsDropsOnlyItsClient) {
    admission.throws = true;
    EXPECT_TRUE(RawClient(folder.get()).isCutOff());
    admission.throws = false;
    EXPECT_EQ(RawClient(folder.get()).version(1), 6);
}

TEST_F(SocketListenerTest, ASlowCheckDoesNotDelayAdmittedClients) {
    RawClient leaving(folder.get());
    RawClient staying(folder.get());
    EXPECT_EQ(leaving.version(1), 6);
    EXPECT_EQ(staying.version(1), 6);
    const std::unique_lock busy(mutex);
    const RawClient stranger(folder.get());
    ASSERT_TRUE(eventually([&] { return checks == 3; }));
    EXPECT_EQ(staying.version(2), 6);
    leaving.close();
    EXPECT_TRUE(eventually([&] { return admission.ended() == 1; }));
}

TEST_F(SocketListenerTest, ACheckThatThrowsCutsOffOnlyItsPeer) {
    checkThrows = true;
    EXPECT_TRUE(RawClient(folder.get()).isCutOff());
    checkThrows = false;
    EXPECT_EQ(RawClient(folder.get()).version(1), 6);
    EXPECT_EQ(admission.asked(), 1);
}

TEST_F(SocketListenerTest, StopsWaitingForAStuckCheck) {
    std::unique_lock busy(mutex);
    const RawClient client(folder.get());
    ASSERT_TRUE(eventually([&] { return checks == 1; }));
    EXPECT_FALSE(listener.stopsWithin(std::chrono::milliseconds(20)));
    busy.unlock();
    EXPECT_TRUE(listener.stopsWithin(std::chrono::seconds(10)));
    EXPECT_TRUE(listener.stopsWithin(std::chrono::seconds(0))); // its thread has ended
}

TEST_F(SocketListenerTest, RetriesUntilItsSocketCanBeCreated) {
    std::filesystem::create_directory(temporary / "other.socket"); // blocks the socket's name
    std::atomic<int> complaints = 0;
    std::atomic<int> recoveries = 0;
    SocketListener second(main, folder.get(), "other.socket",
                          [this](int, const std::string& requirement) { return check(requirement); },
                          {.onRefusal = [](const std::string&) {},
                           .onTrouble = [&](const std::string&) { ++complaints; },
                           .onRecovery = [&] { ++recoveries; }});
    second.setAdmission(admission.callable());
    second.setConnectionCodeSigningRequirement("the requirement");
    EXPECT_FALSE(second.resume());
    EXPECT_EQ(complaints, 1);
    std::filesystem::remove(temporary / "other.socket");
    EXPECT_TRUE(eventually([&] { return unix_socket::connect(folder.get(), "other.socket").isValid(); }));
    EXPECT_TRUE(eventually([&] { return recoveries == 1; }));
    EXPECT_EQ(complaints, 1);
}

TEST_F(SocketListenerTest, BadInputCutsOffOnlyItsSender) {
    const auto request = request_records::encode(2, requests::HelperVersion{});
    const std::pair<const char*, Bytes> inputs[] = {
        {"empty", {}},
        {"oversized", Bytes(request.size() + 1)},
        {"huge", Bytes(150'000, 0)},
        {"truncated", Bytes(request.begin(), request.end() - 1)},
        {"no request", Bytes(request.size())},
    };
    RawClient good(folder.get());
    EXPECT_EQ(good.version(1), 6);
    std::uint64_t number = 1;
    for (const auto& [name, input] : inputs) {
        RawClient offender(folder.get());
        EXPECT_EQ(offender.version(1), 6);
        offender.send(input);
        EXPECT_TRUE(offender.isCutOff()) << name;
        EXPECT_EQ(good.version(++number), 6) << name;
    }
    EXPECT_TRUE(eventually([&] { return admission.ended() == static_cast<int>(std::size(inputs)); }));
}

TEST_F(SocketListenerTest, CutsOffAClientWhoseRequestNumbersDoNotIncrease) {
    for (const std::uint64_t second : {5U, 4U, 0U}) {
        RawClient client(folder.get());
        EXPECT_EQ(client.version(5), 6);
        client.request(second, requests::HelperVersion{});
        EXPECT_TRUE(client.isCutOff()) << second;
    }
    RawClient client(folder.get());
    EXPECT_EQ(client.version(0), 6);
    EXPECT_EQ(client.version(UINT64_MAX), 6);
}

TEST_F(SocketListenerTest, CutsOffAClientThatLeavesItsRepliesUnread) {
    RawClient good(folder.get());
    EXPECT_EQ(good.version(1), 6);
    RawClient flooder(folder.get());
    const int flags = fcntl(flooder.descriptor(), F_GETFL);
    fcntl(flooder.descriptor(), F_SETFL, flags | O_NONBLOCK);
    std::uint64_t number = 0;
    // Sends until the helper has closed the connection.
    const bool wasCutOff = eventually([&] {
        for (int i = 0; i < 500; ++i)
            if (unix_socket::send(flooder.descriptor(), request_records::encode(++number, requests::HelperVersion{})) ==
                unix_socket::Sent::failed)
                return true;
        return false;
    });
    EXPECT_TRUE(wasCutOff);
    EXPECT_EQ(good.version(2), 6);
    EXPECT_TRUE(eventually([&] { return admission.ended() == 1; }));
}

TEST_F(SocketListenerTest, StopsReadingFromAClientWithFourPendingRequests) {
    RawClient client(folder.get());
    for (std::uint64_t number = 1; number <= 200; ++number)
        client.request(number, requests::HandBack{});
    ASSERT_TRUE(eventually([&] { return helper->kept() == 4; }));
    RawClient other(folder.get());
    EXPECT_EQ(other.version(1), 6); // other clients are served meanwhile
    EXPECT_EQ(helper->kept(), 4U);
    for (std::uint64_t next = 1; next <= 200;) {
        ASSERT_TRUE(eventually([&] { return helper->kept() > 0; }));
        for (auto answered = helper->sendKept(); answered > 0; --answered, ++next)
            ASSERT_TRUE(client.receiveReply<requests::HandBack>(next)) << next;
    }
}

TEST_F(SocketListenerTest, AThousandConnectionsLeaveNoDescriptorBehind) {
    const auto descriptors = [] { return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {}); };
    // By the time this client gets an answer, the listener has opened all the descriptors that it needs for itself.
    RawClient resident(folder.get());
    EXPECT_EQ(resident.version(1), 6);
    const auto before = descriptors();
    for (int i = 0; i < 1000; ++i) {
        RawClient client(folder.get());
        ASSERT_TRUE(client.isConnected()) << i;
        if (i % 3 == 0)
            client.request(1, requests::FetchSnapshot{});
    }
    EXPECT_TRUE(eventually([&] { return admission.ended() == 1000; }));
    helper->sendKept();
    EXPECT_EQ(resident.version(2), 6);
    EXPECT_TRUE(eventually([&] { return descriptors() == before; })) << descriptors() << ", before " << before;
}

TEST_F(SocketListenerTest, AnswersARequestWhoseHandlerThrowsOrDropsTheReply) {
    RawClient client(folder.get());
    std::uint64_t number = 0;
    for (int round = 0; round < 3; ++round) {
        helper->throws = true;
        for (int i = 0; i < 3; ++i) // one fewer than the limit at which reading pauses
            EXPECT_EQ(client.version(++number), 0);
        helper->throws = false;
        client.request(++number, requests::HandBack{});
        ASSERT_TRUE(eventually([&] { return helper->kept() == 1; }));
        helper->dropKept();
        const auto reply = client.receive();
        ASSERT_TRUE(reply);
        std::optional<std::string> error;
        EXPECT_TRUE(request_records::decodeAnswer(*reply, number, error));
        EXPECT_EQ(error, "The helper could not carry out the request because of an internal error.");
    }
    EXPECT_EQ(client.version(++number), 6);
}

TEST_F(SocketListenerTest, ANewListenerReplacesAnOldOne) {
    RawClient before(folder.get());
    EXPECT_EQ(before.version(1), 6);
    ScriptedAdmission newDoor(helper);
    SocketListener newer(main, folder.get(), "service.socket", [](int, const std::string&) { return std::nullopt; },
                         {.onRefusal = [](const std::string&) {}});
    newer.setAdmission(newDoor.callable());
    newer.setConnectionCodeSigningRequirement("");
    EXPECT_TRUE(newer.resume());
    RawClient after(folder.get());
    EXPECT_EQ(after.version(1), 6);
    EXPECT_EQ(newDoor.asked(), 1);
    EXPECT_EQ(before.version(2), 6);
    newer.stop();
}

TEST_F(SocketListenerTest, StoppingEndsEveryConnection) {
    RawClient client(folder.get());
    EXPECT_EQ(client.version(1), 6);
    listener.stop();
    listener.stop();
    EXPECT_TRUE(client.isCutOff());
    EXPECT_EQ(admission.ended(), 1);
}

TEST_F(SocketListenerTest, RefusesEveryPeerIfNoRequirementIsSet) {
    SocketListener lenient(main, folder.get(), "other.socket", [](int, const std::string&) { return std::nullopt; },
                           {.onRefusal = [this](const std::string&) { ++refusals; }});
    lenient.setAdmission(admission.callable());
    EXPECT_TRUE(lenient.resume());
    const auto socket = unix_socket::connect(folder.get(), "other.socket");
    Bytes buffer(10);
    EXPECT_TRUE(std::holds_alternative<unix_socket::Ended>(unix_socket::receive(socket.get(), buffer)));
    EXPECT_EQ(admission.asked(), 0);
    lenient.stop();
}

} // namespace
} // namespace kelo
