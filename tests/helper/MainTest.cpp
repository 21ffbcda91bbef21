#include <gtest/gtest.h>

#include <memory>
#include <stdexcept>

#include "testing/MachineFixture.h"
#include "testing/ScriptedPlatform.h"

int helperMain(); // the helper's own main, which the build gives this name

namespace kelo {
namespace {

/// What the platform of this program is, as long as a test wants it to have one.
ScriptedPlatform* platformInUse = nullptr;

class MainTest : public MachineFixture {
protected:
    MainTest() {
        platform.onStep = [this](const std::string& step) { note(step); };
        platform.output.onMessage = [this](const std::string& message) { note(message); };
        platformInUse = &platform;
    }
    ~MainTest() override { platformInUse = nullptr; }

    ScriptedPlatform platform{machine};
};

TEST_F(MainTest, AMainLoopThatReturnsEndsTheHelperWithStatusZero) {
    EXPECT_EQ(helperMain(), 0);
    const auto steps = takeTrace();
    ASSERT_GE(steps.size(), 2U);
    EXPECT_EQ(steps[steps.size() - 2], "[NOTICE] listener: Listening on app.kelo.helper");
    EXPECT_EQ(steps.back(), "run"); // nobody else has called exit
}

TEST(MainWithoutAPlatform, SaysWhyAndEndsTheHelperWithStatusZero) {
    testing::internal::CaptureStderr();
    const int status = helperMain();
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "[ERROR] listener: The system refuses what the helper cannot do without (epoll_create1).\n");
    EXPECT_EQ(status, 0);
}

} // namespace

std::shared_ptr<const Platform> makePlatform() {
    if (platformInUse == nullptr)
        throw std::runtime_error("epoll_create1");
    return {std::shared_ptr<void>(), &platformInUse->platform()};
}

} // namespace kelo
