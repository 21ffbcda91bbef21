#include "simulator/HardwareServer.h"

#include <gmock/gmock.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <functional>

#include "tests/support/MacUnderTest.h"

namespace kelo {
namespace {

using ::testing::IsEmpty;
using ::testing::Not;

class HardwareServerTest : public ::testing::Test {
protected:
    std::string errorOf(const Message& call) const { return mac.call(call).value("error", ""); }
    bool isServing() const { return mac.call({{"call", "show"}}).contains("fans"); }

    MacUnderTest mac;
};

TEST_F(HardwareServerTest, ACallThatIsNoneIsAnsweredWithASentenceAndEndsNothing) {
    const Message calls[] = {
        Message::object(),
        {{"call", 5}},
        {{"call", nullptr}},
        {{"call", "explode"}},
        {{"call", "set"}},
        {{"call", "set"}, {"key", 1}, {"value", "hot"}},
        {{"call", "set"}, {"key", "Temperature"}, {"value", 1}},
        {{"call", "lid"}},
        {{"call", "interfere"}, {"fan", 99}, {"speed", 1000}},
        {{"call", "exchange"}, {"record", Message::binary({1, 2, 3})}},
        {{"call", "fault"}, {"kind", "answer"}, {"result", "much"}},
    };
    for (const auto& call : calls)
        EXPECT_THAT(errorOf(call), Not(IsEmpty())) << call;
    EXPECT_TRUE(isServing());
}

/// Runs `work` as somebody without rights. Returns whether it told true.
bool tellsAsNobody(const std::function<bool()>& work) {
    const pid_t child = fork();
    if (child == 0)
        _exit(setgid(65534) == 0 && setuid(65534) == 0 && work() ? 0 : 1);
    int status = 1;
    return waitpid(child, &status, 0) == child && WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

TEST_F(HardwareServerTest, SomebodyWithoutRightsMayLookButNotDrive) {
    if (geteuid() != 0)
        GTEST_SKIP() << "only the superuser can become somebody else";
    EXPECT_TRUE(tellsAsNobody([this] { return isServing(); }));
    const Message drives[] = {
        {{"call", "set"}, {"key", "Tp09"}, {"value", 99}},
        {{"call", "lid"}, {"state", "close"}},
        {{"call", "load"}, {"value", 1}},
        {{"call", "sleep"}},
        {{"call", "wake"}},
        {{"call", "interfere"}, {"fan", 0}, {"speed", 1000}},
        {{"call", "fault"}, {"kind", "fail"}, {"n", 1}},
    };
    for (const auto& drive : drives)
        EXPECT_TRUE(tellsAsNobody([&] { return errorOf(drive) == "Only whoever runs the simulated Mac can do that."; }))
            << drive;
    EXPECT_NE(mac.call({{"call", "show"}}).at("lidClosed"), true);
}

} // namespace
} // namespace kelo
