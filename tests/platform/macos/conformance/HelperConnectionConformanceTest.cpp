#include "tests/conformance/HelperConnectionConformance.h"

#include "tests/platform/macos/conformance/XPCHarness.h"

namespace kelo {
namespace {

INSTANTIATE_TYPED_TEST_SUITE_P(MacOS, HelperConnectionConformance, XPCHarness);

} // namespace
} // namespace kelo
