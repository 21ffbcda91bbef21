#include "client/HelperConnection.h"
#include "platform/macos/XPCListener.h"
#include "testing/ScriptedHelper.h"
#include "tests/platform/macos/doubles/OnDoubles.h"
#include "tests/platform/macos/doubles/SecurityDouble.h"
#include "tests/platform/macos/doubles/XPCDouble.h"

int sampleClientMain(int argc, char** argv); // samples/SampleClient.mm

namespace kelo {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::StartsWith;

class SampleClient : public doubles::OnDoubles {
protected:
    SampleClient() {
        doubles::ownSignature().team = "TEAM";
        helper->snapshot = Data{'{', '}'};
        listener->setAdmission(admission.callable());
        listener->setConnectionCodeSigningRequirement(
            R"(anchor apple generic and identifier "app.kelo.Kelo" and certificate leaf[subject.OU] = "TEAM")");
        EXPECT_TRUE(listener->resume());
    }

    /// Runs the sample with `arguments`, captures `output` and `errors`, and returns the exit status.
    int run(std::vector<std::string> arguments) {
        arguments.insert(arguments.begin(), "sample-client");
        std::vector<char*> words;
        words.reserve(arguments.size());
        for (auto& argument : arguments)
            words.push_back(argument.data());
        ::testing::internal::CaptureStdout();
        ::testing::internal::CaptureStderr();
        const int status = sampleClientMain(static_cast<int>(words.size()), words.data());
        output = ::testing::internal::GetCapturedStdout();
        errors = ::testing::internal::GetCapturedStderr();
        doubles::settleXPC();
        return status;
    }

    /// Ends the helper's connections after its next reply to `request`, as if the helper had exited. Calls `replace`
    /// before that reply, to configure the helper that starts next.
    void leaveAfter(const std::string& request, const std::function<void()>& replace) {
        helper->answer = [this, request, replace, hasLeft = false](const std::function<void()>& reply) mutable {
            const bool isLeaving = !hasLeft && helper->requests().back() == request;
            hasLeft = hasLeft || isLeaving;
            if (isLeaving)
                replace();
            reply();
            if (isLeaving)
                doubles::endConnections();
        };
    }

    const std::shared_ptr<ScriptedHelper> helper = std::make_shared<ScriptedHelper>();
    ScriptedAdmission admission{helper};
    const std::unique_ptr<Listener> listener = makeXPCListener("app.kelo.helper");
    std::string output;
    std::string errors;
};

TEST_F(SampleClient, PrintsTheSnapshotHoldsTheFansAndHandsThemBack) {
    EXPECT_EQ(run({"TEAM", "0.5", "0"}), 0);
    EXPECT_EQ(output, "{}\n");
    EXPECT_THAT(helper->requests(), ElementsAre("helperVersion", "fetchSnapshot", "hold", "handBack"));
    EXPECT_THAT(helper->holds(), ElementsAre(std::pair(0.5, true)));
}

TEST_F(SampleClient, PrintsTheHelpersRefusal) {
    helper->error = "refused";
    EXPECT_EQ(run({"TEAM", "0.5", "0"}), 1);
    EXPECT_EQ(errors, "sample-client: refused\n");
}

TEST_F(SampleClient, SendsNothingToAHelperOfAnotherTeam) {
    EXPECT_EQ(run({"OTHERS", "0.5", "0"}), 1);
    EXPECT_THAT(errors, StartsWith("sample-client: "));
    EXPECT_THAT(helper->requests(), IsEmpty());
}

TEST_F(SampleClient, PrintsItsUsage) {
    EXPECT_EQ(run({}), 2);
    EXPECT_THAT(errors, StartsWith("usage: sample-client"));
}

TEST_F(SampleClient, RequestsTheHoldAgainAfterAnInterruption) {
    leaveAfter("hold", [] {});
    helper->answer = [this, first = helper->answer](const std::function<void()>& reply) {
        if (helper->holds().size() == 2) // makes the sample exit before the end of its hold
            helper->error = "the second hold";
        first(reply);
    };
    EXPECT_EQ(run({"TEAM", "0.5", "10"}), 1);
    EXPECT_EQ(errors, "sample-client: the second hold\n");
    EXPECT_THAT(helper->holds(), ElementsAre(std::pair(0.5, true), std::pair(0.5, true)));
}

TEST_F(SampleClient, MakesAnOlderHelperStandDownFirst) {
    --helper->version;
    leaveAfter("standDown", [this] { ++helper->version; });
    EXPECT_EQ(run({"TEAM", "0.5", "0"}), 0);
    EXPECT_THAT(helper->requests(),
                ElementsAre("helperVersion", "standDown", "helperVersion", "fetchSnapshot", "hold", "handBack"));
}

TEST_F(SampleClient, RefusesAnOlderHelperThatRestarts) {
    helper->version = 5;
    leaveAfter("standDown", [] {});
    EXPECT_EQ(run({"TEAM", "0.5", "0"}), 1);
    EXPECT_EQ(errors, "sample-client: the helper's interface version is 5\n");
    EXPECT_THAT(helper->requests(), ElementsAre("helperVersion", "standDown", "helperVersion"));
}

TEST_F(SampleClient, RefusesANewerHelper) {
    helper->version = 7;
    EXPECT_EQ(run({"TEAM", "0.5", "0"}), 1);
    EXPECT_EQ(errors, "sample-client: the helper's interface version is 7\n");
    EXPECT_THAT(helper->requests(), ElementsAre("helperVersion"));
}

} // namespace
} // namespace kelo
