#pragma once

#include <gmock/gmock.h>

#include <memory>
#include <string>
#include <thread>

#include "client/HelperConnection.h"
#include "testing/ScriptedHelper.h"

namespace kelo {

/// Tests every listener. The harness:
///
///     Listener& listener();         // for the helper's service, not configured yet
///     std::string requirement();    // a text that a trusted peer satisfies
///     std::unique_ptr<HelperConnection> connectTrusted();    // a client that satisfies the requirement
///     std::unique_ptr<HelperConnection> connectUntrusted();  // a client that does not satisfy it
///     void endConnections();        // closes every connection on the helper's side, like the end of its process
///     void settle();                // waits until the listener's threads are idle
///
/// A client throws HelperUnreachable when it connects or at its first request.
template <typename Harness>
class ListenerConformance : public ::testing::Test {
protected:
    void start() {
        harness.listener().setAdmission(admission.callable());
        harness.listener().setConnectionCodeSigningRequirement(harness.requirement());
        EXPECT_TRUE(harness.listener().resume());
    }

    bool isServed(std::unique_ptr<HelperConnection> (Harness::*connect)()) {
        try {
            const auto client = (harness.*connect)();
            return client->ask(requests::HelperVersion{}) == helper->version;
        } catch (const HelperUnreachable&) {
            return false;
        }
    }

    // Declared before the harness, because its threads use these objects until it is destroyed.
    std::shared_ptr<ScriptedHelper> helper = std::make_shared<ScriptedHelper>();
    ScriptedAdmission admission{helper};
    Harness harness;
};

TYPED_TEST_SUITE_P(ListenerConformance);

TYPED_TEST_P(ListenerConformance, ServesATrustedClientOffTheMainThread) {
    this->start();
    EXPECT_TRUE(this->isServed(&TypeParam::connectTrusted));
    EXPECT_EQ(this->admission.asked(), 1);
    EXPECT_THAT(this->helper->requests(), ::testing::ElementsAre("helperVersion"));
    EXPECT_NE(this->admission.askedOn(), std::this_thread::get_id());
    EXPECT_NE(this->helper->broughtBy(), std::this_thread::get_id());
}

TYPED_TEST_P(ListenerConformance, CutsOffAnUntrustedClientBeforeAdmission) {
    this->start();
    EXPECT_FALSE(this->isServed(&TypeParam::connectUntrusted));
    this->harness.settle();
    EXPECT_EQ(this->admission.asked(), 0);
    EXPECT_TRUE(this->isServed(&TypeParam::connectTrusted)) << "the next client must be served";
}

TYPED_TEST_P(ListenerConformance, AMalformedRequirementAdmitsNoClient) {
    for (const char* const malformed : {"anchor apple generic and identifier \"", "", "nonsense"}) {
        this->harness.listener().setAdmission(this->admission.callable());
        this->harness.listener().setConnectionCodeSigningRequirement(malformed);
    }
    static_cast<void>(this->harness.listener().resume()); // a listener that trusts no client need not listen
    EXPECT_FALSE(this->isServed(&TypeParam::connectTrusted));
    EXPECT_FALSE(this->isServed(&TypeParam::connectUntrusted));
    this->harness.settle();
    EXPECT_EQ(this->admission.asked(), 0);
}

TYPED_TEST_P(ListenerConformance, DoesNotAdmitClientsBeforeResume) {
    this->harness.listener().setAdmission(this->admission.callable());
    this->harness.listener().setConnectionCodeSigningRequirement(this->harness.requirement());
    EXPECT_FALSE(this->isServed(&TypeParam::connectTrusted));
    this->harness.settle();
    EXPECT_EQ(this->admission.asked(), 0);
}

TYPED_TEST_P(ListenerConformance, DropsAClientThatTheAdmissionRefuses) {
    this->admission.isAccepting = false;
    this->start();
    EXPECT_FALSE(this->isServed(&TypeParam::connectTrusted));
    this->harness.settle();
    EXPECT_EQ(this->admission.asked(), 1);
    EXPECT_THAT(this->helper->requests(), ::testing::IsEmpty());
    EXPECT_EQ(this->admission.heldByHandlers.use_count(), 1);
}

TYPED_TEST_P(ListenerConformance, ReportsADisconnectOnceAndReleasesTheHandlers) {
    this->start();
    auto client = this->harness.connectTrusted();
    client->ask(requests::HelperVersion{});
    this->harness.settle();
    EXPECT_EQ(this->admission.ended(), 0);
    EXPECT_GT(this->admission.heldByHandlers.use_count(), 1);
    client.reset();
    this->harness.settle();
    EXPECT_EQ(this->admission.ended(), 1);
    EXPECT_EQ(this->admission.heldByHandlers.use_count(), 1);
}

TYPED_TEST_P(ListenerConformance, SeveralClientsShareTheObjectAndDisconnectOneByOne) {
    this->start();
    auto first = this->harness.connectTrusted();
    auto second = this->harness.connectTrusted();
    first->ask(requests::HelperVersion{});
    second->ask(requests::HandBack{});
    first->ask(requests::FetchSnapshot{});
    EXPECT_EQ(this->admission.asked(), 2);
    EXPECT_THAT(this->helper->requests(), ::testing::ElementsAre("helperVersion", "handBack", "fetchSnapshot"));
    first.reset();
    this->harness.settle();
    EXPECT_EQ(this->admission.ended(), 1);
    EXPECT_EQ(second->ask(requests::HelperVersion{}), this->helper->version);
    second.reset();
    this->harness.settle();
    EXPECT_EQ(this->admission.ended(), 2);
}

TYPED_TEST_P(ListenerConformance, DropsAReplyToADisconnectedClient) {
    this->helper->keepReplies();
    this->start();
    auto client = this->harness.connectTrusted();
    std::thread requester([&] { EXPECT_THROW(client->ask(requests::HandBack{}), HelperUnreachable); });
    this->helper->waitForKept(1);
    this->harness.endConnections();
    requester.join();
    this->harness.settle();
    this->helper->sendKept();
    client.reset();
    this->harness.settle();
    EXPECT_EQ(this->admission.ended(), 1);
}

REGISTER_TYPED_TEST_SUITE_P(ListenerConformance, ServesATrustedClientOffTheMainThread,
                            CutsOffAnUntrustedClientBeforeAdmission, AMalformedRequirementAdmitsNoClient,
                            DoesNotAdmitClientsBeforeResume, DropsAClientThatTheAdmissionRefuses,
                            ReportsADisconnectOnceAndReleasesTheHandlers,
                            SeveralClientsShareTheObjectAndDisconnectOneByOne, DropsAReplyToADisconnectedClient);

} // namespace kelo
