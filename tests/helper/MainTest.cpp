#include <gtest/gtest.h>

#include <memory>
#include <stdexcept>

#include "testing/MachineFixture.h"
#include "testing/ScriptedPlatform.h"

int helperMain(); // the helper's main function, renamed by the build

namespace kelo {
namespace {

/// The platform that `makePlatform` returns; null if the platform is unavailable.
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

TEST_F(MainTest, ReturnsZeroWhenTheMainLoopReturns) {
    EXPECT_EQ(helperMain(), 0);
    const auto steps = takeTrace();
    ASSERT_GE(steps.size(), 2U);
    EXPECT_EQ(steps[steps.size() - 2], "[NOTICE] listener: Listening on app.kelo.helper");
    EXPECT_EQ(steps.back(), "run"); // exit was not called
}

TEST(MainWithoutAPlatform, ReportsTheReasonAndReturnsZero) {
    testing::internal::CaptureStderr();
    const int status = helperMain();
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "[ERROR] listener: The system refused a resource that the helper needs (epoll_create1).\n");
    EXPECT_EQ(status, 0);
}

} // namespace

std::shared_ptr<const Platform> makePlatform() {
    if (platformInUse == nullptr)
        throw std::runtime_error("epoll_create1");
    return {std::shared_ptr<void>(), &platformInUse->platform()};
}

} // namespace kelo
