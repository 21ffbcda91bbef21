#pragma once

#include <gtest/gtest.h>

#include "core/hold/Clamshell.h"

namespace kelo {

/// Tests every source of the lid state. The harness:
///
///     Clamshell& clamshell();
///     void setState(const ClamshellProperty& state);  // the root power domain's new state
///     void removePowerDomain();
template <typename Harness>
class ClamshellConformance : public ::testing::Test {
protected:
    ClamshellProperty state() { return harness.clamshell().clamshellState(); }

    Harness harness;
};

TYPED_TEST_SUITE_P(ClamshellConformance);

TYPED_TEST_P(ClamshellConformance, ReadsTheCurrentState) {
    const ClamshellProperty states[] = {true, false, 0.0, 1.0, 0.5, -3.0, UnconvertibleProperty{}, std::monostate{}};
    for (const auto& state : states) {
        this->harness.setState(state);
        EXPECT_EQ(this->state(), state);
    }
}

TYPED_TEST_P(ClamshellConformance, IsAbsentWithoutARootPowerDomain) {
    this->harness.setState(true);
    this->harness.removePowerDomain();
    EXPECT_EQ(this->state(), ClamshellProperty(std::monostate{}));
}

REGISTER_TYPED_TEST_SUITE_P(ClamshellConformance, ReadsTheCurrentState, IsAbsentWithoutARootPowerDomain);

} // namespace kelo
