#pragma once

#include <gtest/gtest.h>

#include "core/hold/Clamshell.h"

namespace kelo {

/// What every reading of the lid must do. The harness:
///
///     Clamshell& clamshell();
///     void setState(const ClamshellProperty& state);  // what the root power domain holds from now on
///     void removePowerDomain();
template <typename Harness>
class ClamshellConformance : public ::testing::Test {
protected:
    ClamshellProperty state() { return harness.clamshell().clamshellState(); }

    Harness harness;
};

TYPED_TEST_SUITE_P(ClamshellConformance);

TYPED_TEST_P(ClamshellConformance, ReadsABooleanAsABoolean) {
    for (const bool isClosed : {true, false}) {
        this->harness.setState(isClosed);
        EXPECT_EQ(this->state(), ClamshellProperty(isClosed));
    }
}

TYPED_TEST_P(ClamshellConformance, ReadsANumberAsANumber) {
    for (const double number : {0.0, 1.0, 0.5, -3.0}) {
        this->harness.setState(number);
        EXPECT_EQ(this->state(), ClamshellProperty(number));
    }
}

TYPED_TEST_P(ClamshellConformance, TellsAValueOfAnotherTypeFromAnAbsentOne) {
    this->harness.setState(UnconvertibleProperty{});
    EXPECT_EQ(this->state(), ClamshellProperty(UnconvertibleProperty{}));
    this->harness.setState(std::monostate{});
    EXPECT_EQ(this->state(), ClamshellProperty(std::monostate{}));
}

TYPED_TEST_P(ClamshellConformance, IsAbsentWithoutARootPowerDomain) {
    this->harness.setState(true);
    this->harness.removePowerDomain();
    EXPECT_EQ(this->state(), ClamshellProperty(std::monostate{}));
}

TYPED_TEST_P(ClamshellConformance, LooksAfreshEveryTime) {
    this->harness.setState(false);
    EXPECT_EQ(this->state(), ClamshellProperty(false));
    this->harness.setState(true);
    EXPECT_EQ(this->state(), ClamshellProperty(true));
}

REGISTER_TYPED_TEST_SUITE_P(ClamshellConformance, ReadsABooleanAsABoolean, ReadsANumberAsANumber,
                            TellsAValueOfAnotherTypeFromAnAbsentOne, IsAbsentWithoutARootPowerDomain,
                            LooksAfreshEveryTime);

} // namespace kelo
