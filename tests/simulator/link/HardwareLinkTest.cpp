#include "simulator/link/HardwareLink.h"

#include <gmock/gmock.h>

#include "testing/ScriptedMac.h"

namespace kelo {
namespace {

using namespace hardware_calls;

class HardwareLinkTest : public ::testing::Test {
protected:
    HardwareLinkTest() { mac.accept(); }

    void answer(const AnyAnswer& answer) { mac.send(encode(answer)); }
    /// Makes a call that should fail. Returns the text of the error, or "none" if the call succeeds.
    std::string failure() {
        try {
            link->call(Wake{});
            return "none";
        } catch (const CallFailed& error) {
            return error.what();
        }
    }

    ScriptedMac mac{HardwareLink::socketName};
    std::unique_ptr<HardwareLink> link = HardwareLink::connect(mac.folder());
};

TEST_F(HardwareLinkTest, DoesNotConnectWithoutAMac) {
    const MacFolder empty;
    EXPECT_EQ(HardwareLink::connect(empty.descriptor()), nullptr);
}

TEST_F(HardwareLinkTest, SendsACallAndReturnsItsAnswer) {
    MacState state;
    state.load = 0.5;
    answer(state);
    EXPECT_EQ(link->call(Show{}).load, 0.5);
    EXPECT_EQ(mac.receive(), encode(AnyCall(Show{})));
}

TEST_F(HardwareLinkTest, ThrowsTheTextOfARefusalAndCanMakeTheNextCall) {
    answer(Refused{"The Mac is awake."});
    EXPECT_EQ(failure(), "The Mac is awake.");
    answer(Done{});
    EXPECT_EQ(failure(), "none");
}

TEST_F(HardwareLinkTest, RejectsTheAnswerToADifferentCall) {
    answer(SleepReport{});
    EXPECT_EQ(failure(), "The simulated Mac sent an unexpected answer.");
}

TEST_F(HardwareLinkTest, FailsWhenTheMacHasStopped) {
    mac.hangUp();
    EXPECT_EQ(failure(), "The simulated Mac has stopped.");
}

} // namespace
} // namespace kelo
