#pragma once

#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <thread>

#include "protocol/SigningInformation.h"

namespace kelo {

/// What every reading of the own signature must do. The harness:
///
///     SigningInformation& signingInformation();
///     void sign(const std::optional<std::string>& team);  // as which the process reads itself; none: without a team
template <typename Harness>
class SigningInformationConformance : public ::testing::Test {
protected:
    std::optional<std::string> team() { return harness.signingInformation().teamIdentifier(); }

    Harness harness;
};

TYPED_TEST_SUITE_P(SigningInformationConformance);

TYPED_TEST_P(SigningInformationConformance, TellsTheTeamThatSigned) {
    this->harness.sign("ABCDE12345");
    EXPECT_EQ(this->team(), "ABCDE12345");
}

TYPED_TEST_P(SigningInformationConformance, TellsNoTeamWhenThereIsNone) {
    this->harness.sign(std::nullopt);
    EXPECT_EQ(this->team(), std::nullopt);
}

TYPED_TEST_P(SigningInformationConformance, MayBeAskedOnAnyThread) {
    this->harness.sign("ABCDE12345");
    std::optional<std::string> elsewhere;
    std::thread other([&] { elsewhere = this->team(); });
    other.join();
    EXPECT_EQ(elsewhere, "ABCDE12345");
}

REGISTER_TYPED_TEST_SUITE_P(SigningInformationConformance, TellsTheTeamThatSigned, TellsNoTeamWhenThereIsNone,
                            MayBeAskedOnAnyThread);

} // namespace kelo
