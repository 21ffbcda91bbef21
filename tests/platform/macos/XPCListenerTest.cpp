#include "platform/macos/XPCListener.h"

#include <stdexcept>

#include "client/HelperConnection.h"
#include "testing/ScriptedHelper.h"
#include "tests/platform/macos/doubles/LogDouble.h"
#include "tests/platform/macos/doubles/OnDoubles.h"
#include "tests/platform/macos/doubles/SecurityDouble.h"
#include "tests/platform/macos/doubles/XPCDouble.h"

namespace kelo {
namespace {

using doubles::journal;
using doubles::logEntries;
using doubles::xpc;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Not;

const std::string requirement =
    R"(anchor apple generic and identifier "app.kelo.Kelo" and certificate leaf[subject.OU] = "TEAM")";

class XPCListenerTest : public doubles::OnDoubles {
protected:
    XPCListenerTest() { doubles::ownSignature().team = "TEAM"; }

    bool isServed() {
        try {
            return connectToHelper()->ask(requests::HelperVersion{}) == helper->version;
        } catch (const HelperUnreachable&) {
            return false;
        }
    }

    bool start() {
        listener->setAdmission(admission.callable());
        listener->setConnectionCodeSigningRequirement(requirement);
        return listener->resume();
    }

    const std::shared_ptr<ScriptedHelper> helper = std::make_shared<ScriptedHelper>();
    ScriptedAdmission admission{helper};
    std::unique_ptr<Listener> listener = makeXPCListener("app.kelo.helper");
};

TEST_F(XPCListenerTest, SetsTheRequirementBeforeResuming) {
    EXPECT_TRUE(start());
    EXPECT_THAT(journal().take(),
                ElementsAre("NSXPCListener initWithMachServiceName app.kelo.helper", "NSXPCListener setDelegate",
                            "SecRequirementCreateWithString " + requirement + " flags 0",
                            "NSXPCListener setConnectionCodeSigningRequirement " + requirement,
                            "NSXPCListener resume"));
}

TEST_F(XPCListenerTest, KeepsItsDelegateUntilItsDestruction) {
    EXPECT_TRUE(start());
    EXPECT_EQ(journal().live("KeloListenerDelegate"), 1);
    journal().take();
    listener.reset();
    EXPECT_THAT(journal().take(), ElementsAre("NSXPCListener setDelegate nil", "NSXPCListener invalidate"));
    EXPECT_THAT(journal().live(), IsEmpty());
}

TEST_F(XPCListenerTest, TheListenerIsNotResumedWithoutARequirement) {
    listener->setAdmission(admission.callable());
    EXPECT_FALSE(listener->resume());
    EXPECT_THAT(journal().take(), Not(Contains("NSXPCListener resume")));
    EXPECT_THAT(logEntries(),
                Contains(::testing::Field(&doubles::LogEntry::text,
                                          "the listener: it has no code-signing requirement and is not resumed")));
    EXPECT_FALSE(isServed());
}

TEST_F(XPCListenerTest, DoesNotSetARequirementThatDoesNotParse) {
    listener->setAdmission(admission.callable());
    listener->setConnectionCodeSigningRequirement("anchor apple generic and identifier \"");
    EXPECT_FALSE(listener->resume());
    EXPECT_THAT(journal().take(), Not(Contains(::testing::StartsWith("NSXPCListener setConnection"))));
    EXPECT_FALSE(isServed());
    ASSERT_FALSE(logEntries().empty());
    EXPECT_EQ(logEntries()[0].text, "the code-signing requirement: it does not parse; every client is refused");
}

TEST_F(XPCListenerTest, RefusesEveryClientIfSettingTheRequirementRaisesAnException) {
    xpc().isRaising = true;
    EXPECT_FALSE(start());
    EXPECT_THAT(journal().take(), Not(Contains("NSXPCListener resume")));
    EXPECT_EQ(logEntries()[0].text, "the code-signing requirement: raised by the double");
    xpc().raisedReason = nullptr;
    listener->setConnectionCodeSigningRequirement(requirement);
    EXPECT_EQ(logEntries()[2].text, "the code-signing requirement: no reason was given");
}

TEST_F(XPCListenerTest, ARefusedRequirementRevokesAnEarlierOne) {
    EXPECT_TRUE(start());
    listener->setConnectionCodeSigningRequirement("nonsense");
    EXPECT_FALSE(listener->resume());
    EXPECT_FALSE(isServed());
    EXPECT_EQ(admission.asked(), 0);
}

TEST_F(XPCListenerTest, ConfiguresAnXPCConnectionBeforeResumingIt) {
    EXPECT_TRUE(start());
    const auto client = connectToHelper();
    journal().take();
    client->ask(requests::HelperVersion{});
    EXPECT_THAT(journal().take(),
                ElementsAre("NSXPCConnection synchronousRemoteObjectProxyWithErrorHandler",
                            "NSXPCConnection setExportedInterface", "NSXPCConnection setExportedObject",
                            "NSXPCConnection setInvalidationHandler", "NSXPCConnection setInterruptionHandler",
                            "NSXPCConnection resume"));
}

TEST_F(XPCListenerTest, DoesNotTouchARefusedConnection) {
    admission.isAccepting = false;
    EXPECT_TRUE(start());
    const auto client = connectToHelper();
    journal().take();
    EXPECT_THROW(client->ask(requests::HelperVersion{}), HelperUnreachable);
    EXPECT_THAT(journal().take(), ElementsAre("NSXPCConnection synchronousRemoteObjectProxyWithErrorHandler"));
}

TEST_F(XPCListenerTest, CallsBothHandlersOfAConnection) {
    EXPECT_TRUE(start());
    auto client = connectToHelper();
    client->ask(requests::HelperVersion{});
    doubles::interruptConnections();
    doubles::settleXPC();
    EXPECT_EQ(admission.interrupted(), 1);
    EXPECT_EQ(admission.ended(), 0);
    client.reset();
    doubles::settleXPC();
    EXPECT_EQ(admission.interrupted(), 1);
    EXPECT_EQ(admission.ended(), 1);
    EXPECT_EQ(doubles::openConnections(), 0);
}

TEST_F(XPCListenerTest, ExportsASeparateObjectPerConnection) {
    EXPECT_TRUE(start());
    const auto first = connectToHelper();
    const auto second = connectToHelper();
    first->ask(requests::HelperVersion{});
    second->ask(requests::HelperVersion{});
    EXPECT_EQ(journal().live("KeloExportedHelper"), 2);
    EXPECT_EQ(helper.use_count(), 4) << "one reference of the test, one of the admission, one per connection";
}

TEST_F(XPCListenerTest, AcceptsManyConnectionsFromOneProcess) {
    EXPECT_TRUE(start());
    std::vector<std::unique_ptr<HelperConnection>> clients;
    for (int i = 0; i < 300; ++i) {
        clients.push_back(connectToHelper());
        EXPECT_EQ(clients.back()->ask(requests::HelperVersion{}), helper->version);
    }
}

bool acceptWithBrokenHandlers(IncomingConnection& connection) {
    connection.exportObject(std::make_shared<ScriptedHelper>());
    connection.setInvalidationHandler([] { throw std::runtime_error("broken invalidation"); });
    connection.setInterruptionHandler([] { throw std::runtime_error("broken interruption"); });
    connection.resume();
    return true;
}

TEST_F(XPCListenerTest, RefusesAConnectionIfTheAdmissionThrows) {
    listener->setAdmission([](IncomingConnection&) -> bool { throw std::runtime_error("broken admission"); });
    listener->setConnectionCodeSigningRequirement(requirement);
    EXPECT_TRUE(listener->resume());
    EXPECT_FALSE(isServed());
    EXPECT_EQ(logEntries()[0].text, "admitting a connection: broken admission");
}

TEST_F(XPCListenerTest, RefusesAConnectionWhenMemoryRunsOut) {
    EXPECT_TRUE(start());
    xpc().isHelperShortOfMemory = true;
    EXPECT_FALSE(isServed());
    EXPECT_THAT(journal().take(), Contains("NSXPCConnection setExportedInterface")) << "our own allocation must fail";
    EXPECT_THAT(logEntries(), ElementsAre(::testing::Field(&doubles::LogEntry::text,
                                                           ::testing::StartsWith("admitting a connection: "))));
    xpc().isHelperShortOfMemory = false;
    EXPECT_TRUE(isServed());
}

TEST_F(XPCListenerTest, ReportsExceptionsFromConnectionHandlers) {
    listener->setAdmission(acceptWithBrokenHandlers);
    listener->setConnectionCodeSigningRequirement(requirement);
    EXPECT_TRUE(listener->resume());
    EXPECT_TRUE(isServed());
    doubles::interruptConnections();
    doubles::settleXPC();
    std::vector<std::string> faults;
    for (const auto& entry : logEntries())
        faults.push_back(entry.text);
    EXPECT_THAT(faults, Contains("the invalidation of a connection: broken invalidation"));
}

} // namespace
} // namespace kelo
