#include "simulator/link/LidLink.h"

#include <gmock/gmock.h>

#include "tests/support/ScriptedMac.h"

namespace kelo {
namespace {

class LidLinkTest : public ::testing::Test {
protected:
    LidLinkTest() { mac.accept(); }

    std::string failure() {
        return failureOf([this] { link->call({}); });
    }
    void say(const LidLink::Answer& answer) { mac.say(ScriptedMac::Bytes(answer.begin(), answer.end())); }

    ScriptedMac mac{LidLink::socketName};
    std::unique_ptr<LidLink> link = LidLink::connect(mac.folder());
};

TEST_F(LidLinkTest, ThereIsNoLinkWithoutAMac) {
    const MacFolder empty;
    EXPECT_EQ(LidLink::connect(empty.descriptor()), nullptr);
}

TEST_F(LidLinkTest, EveryStateOfALidComesBackAsItWasSaid) {
    const ClamshellProperty states[] = {std::monostate{}, true, false, 0.0, 1.0, -3.5, UnconvertibleProperty{}};
    for (const auto& state : states) {
        say(LidLink::encode(state));
        EXPECT_EQ(link->call({}), state);
        EXPECT_EQ(mac.hearBytes().size(), 1U);
    }
}

TEST_F(LidLinkTest, NothingWorksAfterAnAnswerThatIsNoStateOfALid) {
    const std::string noState = "The simulated Mac's lid answered something that is no state of a lid.";
    for (const ScriptedMac::Bytes& nonsense :
         {ScriptedMac::Bytes(1), ScriptedMac::Bytes(8), ScriptedMac::Bytes(9, 4)}) {
        mac.say(nonsense);
        say(LidLink::encode(true)); // may belong to either look
        EXPECT_EQ(failure(), noState);
        EXPECT_EQ(failure(), "The simulated Mac has gone.");
        link = LidLink::connect(mac.folder());
        mac.accept();
    }
    mac.say(ScriptedMac::Bytes(10));
    EXPECT_EQ(failure(), "The simulated Mac has gone.");
}

} // namespace
} // namespace kelo
