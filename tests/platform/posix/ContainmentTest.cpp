#include "platform/posix/Containment.h"

#include <gmock/gmock.h>

#include <stdexcept>

#include "tests/platform/posix/RecordedFaults.h"

namespace kelo {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

TEST(Containment, ReportsAndSwallowsAnyException) {
    takeFaults();
    contain("some work", [] { throw std::runtime_error("it broke"); });
    contain("other work", [] { throw 1; });
    EXPECT_THAT(takeFaults(), ElementsAre("some work: it broke", "other work: an unknown exception"));
}

TEST(Containment, ReportsNothingIfTheWorkDoesNotThrow) {
    takeFaults();
    bool isDone = false;
    contain("some work", [&] { isDone = true; });
    EXPECT_TRUE(isDone);
    EXPECT_THAT(takeFaults(), IsEmpty());
}

} // namespace
} // namespace kelo
