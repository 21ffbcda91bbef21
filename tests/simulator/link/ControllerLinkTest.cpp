#include "simulator/link/ControllerLink.h"

#include <gmock/gmock.h>

#include "tests/support/ScriptedMac.h"

namespace kelo {
namespace {

class ControllerLinkTest : public ::testing::Test {
protected:
    ControllerLinkTest() { mac.accept(); }

    /// A record whose bytes are all different.
    static ScriptedMac::Bytes recordOnTheWire() {
        ScriptedMac::Bytes bytes;
        for (std::size_t i = 0; i < sizeof(SMCKeyData); ++i)
            bytes.push_back(static_cast<std::uint8_t>(i + 1));
        return bytes;
    }
    std::string failure() {
        return failureOf([this] { link->call({}); });
    }

    ScriptedMac mac{ControllerLink::socketName};
    std::unique_ptr<ControllerLink> link = ControllerLink::connect(mac.folder());
};

TEST_F(ControllerLinkTest, ThereIsNoLinkWithoutAMac) {
    const MacFolder empty;
    EXPECT_EQ(ControllerLink::connect(empty.descriptor()), nullptr);
}

TEST_F(ControllerLinkTest, ARecordGoesOverAsItsBytesAndComesBackAsTheOnesOfTheAnswer) {
    mac.say(recordOnTheWire());
    const auto reply = link->call({});
    ASSERT_TRUE(reply.has_value());
    EXPECT_THAT(bytesOf(*reply), ::testing::ElementsAreArray(recordOnTheWire()));
    mac.say(recordOnTheWire());
    link->call(*reply);
    EXPECT_EQ(mac.hearBytes(), ScriptedMac::Bytes(sizeof(SMCKeyData)));
    EXPECT_EQ(mac.hearBytes(), recordOnTheWire());
}

TEST_F(ControllerLinkTest, ASingleByteIsAnExchangeThatFailedAndTheNextOneIsAnswered) {
    mac.say(ScriptedMac::Bytes{7});
    EXPECT_FALSE(link->call({}).has_value());
    mac.say(recordOnTheWire());
    EXPECT_EQ(failure(), "none");
}

TEST_F(ControllerLinkTest, NothingWorksAfterAnAnswerThatIsNoRecord) {
    mac.say(ScriptedMac::Bytes(79));
    mac.say(recordOnTheWire()); // may belong to either exchange
    EXPECT_EQ(failure(), "The simulated Mac's controller answered something that is no record.");
    EXPECT_EQ(failure(), "The simulated Mac has gone.");
}

TEST_F(ControllerLinkTest, NothingWorksAfterAMessageLargerThanARecord) {
    mac.say(ScriptedMac::Bytes(81));
    EXPECT_EQ(failure(), "The simulated Mac has gone.");
    EXPECT_EQ(failure(), "The simulated Mac has gone.");
}

} // namespace
} // namespace kelo
