#include "platform/macos/XPCHelperConnection.h"

#include "platform/macos/XPCListener.h"
#include "testing/ScriptedHelper.h"
#include "tests/platform/macos/doubles/OnDoubles.h"
#include "tests/platform/macos/doubles/SecurityDouble.h"
#include "tests/platform/macos/doubles/XPCDouble.h"

namespace kelo {
namespace {

using doubles::journal;
using doubles::xpc;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

std::string requirementFor(const std::string& identifier) {
    return "anchor apple generic and identifier \"" + identifier + "\" and certificate leaf[subject.OU] = \"TEAM\"";
}

class XPCHelperConnectionTest : public doubles::OnDoubles {
protected:
    XPCHelperConnectionTest() { doubles::ownSignature().team = "TEAM"; }

    void startHelper() {
        listener = makeXPCListener("app.kelo.helper");
        listener->setAdmission(admission.callable());
        listener->setConnectionCodeSigningRequirement(requirementFor("app.kelo.Kelo"));
        EXPECT_TRUE(listener->resume());
        journal().take();
    }

    std::string reasonOfFailure() {
        try {
            connectToHelper()->ask(requests::HelperVersion{});
        } catch (const HelperUnreachable& error) {
            return error.what();
        }
        ADD_FAILURE() << "nothing was thrown";
        return {};
    }

    const std::shared_ptr<ScriptedHelper> helper = std::make_shared<ScriptedHelper>();
    ScriptedAdmission admission{helper};
    std::unique_ptr<Listener> listener;
};

TEST_F(XPCHelperConnectionTest, ARequestFailsIfItsReplyCannotBeAllocated) {
    startHelper();
    helper->snapshot = Data{'{', '}'};
    const auto connection = connectToHelper();
    xpc().isClientShortOfMemory = true;
    EXPECT_THROW(connection->ask(requests::FetchSnapshot{}), HelperUnreachable);
    xpc().isClientShortOfMemory = false;
    EXPECT_EQ(connection->ask(requests::FetchSnapshot{}), helper->snapshot);
}

TEST_F(XPCHelperConnectionTest, ConnectsToThePrivilegedServiceAndRequiresOurTeamsHelper) {
    const auto connection = connectToHelper();
    EXPECT_THAT(journal().take(),
                ElementsAre("SecCodeCopySelf flags 0", "SecCodeCopyStaticCode flags 0",
                            "SecCodeCopySigningInformation flags 2",
                            "NSXPCConnection initWithMachServiceName app.kelo.helper 0x1000",
                            "NSXPCConnection setRemoteObjectInterface",
                            "NSXPCConnection setCodeSigningRequirement " + requirementFor("app.kelo.helper"),
                            "NSXPCConnection resume"));
}

TEST_F(XPCHelperConnectionTest, InvalidatesTheConnectionBeforeReleasingIt) {
    startHelper();
    auto connection = connectToHelper();
    connection->ask(requests::HelperVersion{});
    journal().take();
    connection.reset();
    EXPECT_THAT(journal().take(), ElementsAre("NSXPCConnection invalidate"));
    doubles::settleXPC();
    EXPECT_EQ(admission.ended(), 1);
}

TEST_F(XPCHelperConnectionTest, SendsAllRequestsOverOneConnection) {
    startHelper();
    const auto connection = connectToHelper();
    connection->ask(requests::HelperVersion{});
    connection->ask(requests::Hold{0.5, true});
    connection->ask(requests::HandBack{});
    EXPECT_EQ(admission.asked(), 1);
}

TEST_F(XPCHelperConnectionTest, EveryRequestThrowsWithoutAHelper) {
    const auto connection = connectToHelper();
    EXPECT_THROW(connection->ask(requests::FetchSnapshot{}), HelperUnreachable);
    EXPECT_THROW(connection->ask(requests::Hold{0.5, true}), HelperUnreachable);
    EXPECT_THROW(connection->ask(requests::HandBack{}), HelperUnreachable);
    EXPECT_THROW(connection->ask(requests::HelperVersion{}), HelperUnreachable);
    EXPECT_THROW(connection->ask(requests::StandDown{}), HelperUnreachable);
    EXPECT_EQ(reasonOfFailure(), "The helper cannot be reached: error 4099");
}

TEST_F(XPCHelperConnectionTest, SendsNothingToAnImpostor) {
    startHelper();
    xpc().helper = {"app.kelo.helper", "OTHERS"};
    EXPECT_EQ(reasonOfFailure(), "The helper cannot be reached: error 4102");
    xpc().helper = {"app.kelo.Kelo", "TEAM"};
    EXPECT_EQ(reasonOfFailure(), "The helper cannot be reached: error 4102");
    EXPECT_THAT(helper->requests(), IsEmpty());
}

TEST_F(XPCHelperConnectionTest, DoesNotConnectIfUnsigned) {
    doubles::ownSignature().team = std::nullopt;
    EXPECT_EQ(reasonOfFailure(), "This program isn't signed, so the helper would refuse it.");
    EXPECT_EQ(journal().live("NSXPCConnection"), 0);
}

TEST_F(XPCHelperConnectionTest, ARefusedRequirementLeavesNoConnection) {
    xpc().isRaising = true;
    EXPECT_EQ(reasonOfFailure(), "The helper's identity cannot be checked: raised by the double");
    EXPECT_EQ(journal().live("NSXPCConnection"), 0);
}

TEST_F(XPCHelperConnectionTest, RequestsDoNotLeak) {
    startHelper();
    const auto connection = connectToHelper();
    connection->ask(requests::HelperVersion{});
    doubles::settleXPC();
    const auto before = journal().live();
    for (int i = 0; i < 10; ++i) {
        connection->ask(requests::FetchSnapshot{});
        connection->ask(requests::HandBack{});
    }
    doubles::settleXPC();
    EXPECT_EQ(journal().live(), before);
}

} // namespace
} // namespace kelo
