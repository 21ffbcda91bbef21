#include "tests/conformance/ListenerConformance.h"

#include "tests/platform/macos/conformance/XPCHarness.h"

namespace kelo {
namespace {

INSTANTIATE_TYPED_TEST_SUITE_P(MacOS, ListenerConformance, XPCHarness);

} // namespace
} // namespace kelo
