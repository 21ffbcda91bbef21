#include "core/fan/FanError.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <limits>
#include <tuple>

namespace kelo {
namespace {

/// Returns the expected base-16 text, computed by the C library: upper case, not padded, with a minus sign if negative.
std::string expectedHex(std::int32_t code) {
    const auto magnitude = code < 0 ? -static_cast<std::int64_t>(code) : static_cast<std::int64_t>(code);
    char text[32];
    std::snprintf(text, sizeof text, "%s%llX", code < 0 ? "-" : "", static_cast<unsigned long long>(magnitude));
    return text;
}

void expectTexts(std::int32_t code) {
    EXPECT_EQ(FanError::modeRejected(code).errorDescription(),
              "This Mac refused to hand over the fan (code 0x" + expectedHex(code) +
                  "). It usually means the system is managing cooling itself right now.");
    EXPECT_EQ(FanError::targetRejected(code).errorDescription(),
              "The fan speed wasn't accepted (code 0x" + expectedHex(code) + ").");
}

TEST(FanError, DescriptionsMatchTheExamplesExactly) {
    EXPECT_EQ(
        FanError::modeRejected(132).errorDescription(),
        "This Mac refused to hand over the fan (code 0x84). It usually means the system is managing cooling itself "
        "right now.");
    EXPECT_EQ(
        FanError::modeRejected(0).errorDescription(),
        "This Mac refused to hand over the fan (code 0x0). It usually means the system is managing cooling itself "
        "right now.");
    EXPECT_EQ(FanError::targetRejected(-2).errorDescription(), "The fan speed wasn't accepted (code 0x-2).");
    EXPECT_EQ(FanError::targetRejected(-3).errorDescription(), "The fan speed wasn't accepted (code 0x-3).");
    EXPECT_EQ(FanError::targetRejected(255).errorDescription(), "The fan speed wasn't accepted (code 0xFF).");
    EXPECT_EQ(FanError::smcUnavailable().errorDescription(), "Can't reach this Mac's fan controller.");
    EXPECT_EQ(FanError::noFans().errorDescription(), "This Mac has no controllable fan.");
    EXPECT_EQ(FanError::needsRoot().errorDescription(),
              "Changing fan speed needs administrator rights. Run this with sudo.");
}

TEST(FanError, ShowsEveryKeyClientStatusInBase16) {
    for (std::int32_t code = -3; code <= 255; ++code)
        expectTexts(code);
}

TEST(FanError, ShowsExtremeCodesInBase16) {
    EXPECT_EQ(FanError::targetRejected(std::numeric_limits<std::int32_t>::min()).errorDescription(),
              "The fan speed wasn't accepted (code 0x-80000000).");
    EXPECT_EQ(FanError::targetRejected(std::numeric_limits<std::int32_t>::max()).errorDescription(),
              "The fan speed wasn't accepted (code 0x7FFFFFFF).");
    for (const std::int32_t code : {-2147483647 - 1, -2147483647, -256, -16, -1, 256, 4096, 2147483646, 2147483647})
        expectTexts(code);
}

TEST(FanError, HasFiveCasesInAFixedOrder) {
    using Case = FanError::Case;
    const std::tuple<FanError, Case, const char*> errors[] = {
        {FanError::modeRejected(7), Case::modeRejected, "modeRejected"},
        {FanError::targetRejected(7), Case::targetRejected, "targetRejected"},
        {FanError::smcUnavailable(), Case::smcUnavailable, "smcUnavailable"},
        {FanError::noFans(), Case::noFans, "noFans"},
        {FanError::needsRoot(), Case::needsRoot, "needsRoot"}};
    int position = 0;
    for (const auto& [error, kind, name] : errors) {
        EXPECT_EQ(error.kind(), kind);
        EXPECT_EQ(static_cast<int>(kind), position++);
        EXPECT_EQ(error.code(), kind <= Case::targetRejected ? 7 : 0);
        EXPECT_STREQ(error.what(), name);
    }
}

TEST(FanError, ComparesCaseAndCode) {
    EXPECT_EQ(FanError::modeRejected(5), FanError::modeRejected(5));
    EXPECT_FALSE(FanError::modeRejected(5) == FanError::modeRejected(6));
    EXPECT_FALSE(FanError::modeRejected(5) == FanError::targetRejected(5));
}

} // namespace
} // namespace kelo
