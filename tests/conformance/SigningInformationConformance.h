#pragma once

#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <thread>

#include "protocol/SigningInformation.h"

namespace kelo {

/// Tests every source of the executable's own team. The harness:
///
///     SigningInformation& signingInformation();
///     void sign(const std::optional<std::string>& team);  // signs the executable with `team`, or without a team
template <typename Harness>
class SigningInformationConformance : public ::testing::Test {
protected:
    std::optional<std::string> team() { return harness.signingInformation().teamIdentifier(); }

    Harness harness;
};

TYPED_TEST_SUITE_P(SigningInformationConformance);

TYPED_TEST_P(SigningInformationConformance, ReturnsTheSigningTeam) {
    this->harness.sign("ABCDE12345");
    EXPECT_EQ(this->team(), "ABCDE12345");
}

TYPED_TEST_P(SigningInformationConformance, ReturnsNulloptWithoutATeam) {
    this->harness.sign(std::nullopt);
    EXPECT_EQ(this->team(), std::nullopt);
}

TYPED_TEST_P(SigningInformationConformance, CanBeReadOnAnyThread) {
    this->harness.sign("ABCDE12345");
    std::optional<std::string> elsewhere;
    std::thread other([&] { elsewhere = this->team(); });
    other.join();
    EXPECT_EQ(elsewhere, "ABCDE12345");
}

REGISTER_TYPED_TEST_SUITE_P(SigningInformationConformance, ReturnsTheSigningTeam, ReturnsNulloptWithoutATeam,
                            CanBeReadOnAnyThread);

} // namespace kelo
