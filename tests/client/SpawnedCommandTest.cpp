#include "client/terminal/SpawnedCommand.h"

#include <gtest/gtest.h>

#include <csignal>

namespace kelo {
namespace {

constexpr double longEnough = 60; // seconds

TEST(SpawnedCommand, ReturnsStatusAndOutput) {
    const auto ran = spawnedCommand({"sh", "-c", "echo out; echo err >&2; exit 7"}, longEnough);
    ASSERT_TRUE(ran);
    EXPECT_EQ(ran->status, 7);
    EXPECT_EQ(ran->output, "out\nerr\n");
}

TEST(SpawnedCommand, ReturnsMoreOutputThanAPipeHolds) {
    const auto ran = spawnedCommand({"head", "-c", "1000000", "/dev/zero"}, longEnough);
    ASSERT_TRUE(ran);
    EXPECT_EQ(ran->output.size(), 1'000'000U);
}

TEST(SpawnedCommand, HasNoInput) {
    const auto ran = spawnedCommand({"cat"}, longEnough);
    ASSERT_TRUE(ran);
    EXPECT_EQ(ran->output, "");
}

TEST(SpawnedCommand, ReturnsNulloptIfItCannotRunOrASignalEndsIt) {
    EXPECT_FALSE(spawnedCommand({"/nowhere/at/all"}, longEnough));
    EXPECT_FALSE(spawnedCommand({"sh", "-c", "kill -9 $$"}, longEnough));
}

TEST(SpawnedCommand, ReturnsNulloptAfterATimeout) { EXPECT_FALSE(spawnedCommand({"sleep", "60"}, 0.05)); }

TEST(StartedCompanion, ReturnsItsStatusOnceItHasEnded) {
    const auto statusOf = [](const CommandWords& command, int signal) {
        const auto companion = startedCompanion(command);
        if (signal != 0)
            companion.signal(signal);
        std::optional<int> status;
        while (!status)
            status = companion.status();
        return *status;
    };
    EXPECT_EQ(statusOf({"sh", "-c", "exit 7"}, 0), 7);
    EXPECT_EQ(statusOf({"sleep", "60"}, SIGKILL), 128 + SIGKILL);
    EXPECT_EQ(statusOf({"/nowhere/at/all"}, 0), 127);
    EXPECT_EQ(statusOf({"/"}, 0), 126);
}

} // namespace
} // namespace kelo
