#include "platform/macos/IOKitClamshell.h"

#include "tests/platform/macos/doubles/CoreFoundationDouble.h"
#include "tests/platform/macos/doubles/IOKitDouble.h"
#include "tests/platform/macos/doubles/OnDoubles.h"

namespace kelo {
namespace {

using doubles::journal;
using doubles::kernel;
using ::testing::ElementsAre;

class IOKitClamshellTest : public doubles::OnDoubles {
protected:
    IOKitClamshell clamshell;
};

TEST_F(IOKitClamshellTest, ReadsAndReleasesTheClamshellProperty) {
    kernel().clamshellState = [] { return doubles::makeCFBoolean(true); };
    EXPECT_EQ(clamshell.clamshellState(), ClamshellProperty(true));
    EXPECT_THAT(journal().take(),
                ElementsAre("IOServiceMatching IOPMrootDomain", "IOServiceGetMatchingService IOPMrootDomain",
                            "IORegistryEntryCreateCFProperty IOPMrootDomain AppleClamshellState",
                            "IOObjectRelease IOPMrootDomain"));
}

TEST_F(IOKitClamshellTest, ReadsNothingWithoutTheRootPowerDomain) {
    kernel().services.clear();
    EXPECT_EQ(clamshell.clamshellState(), ClamshellProperty());
    EXPECT_THAT(journal().take(),
                ElementsAre("IOServiceMatching IOPMrootDomain", "IOServiceGetMatchingService IOPMrootDomain"));
}

TEST_F(IOKitClamshellTest, DoesNotConvertInexactNumbersOrOtherTypes) {
    for (const bool isNumber : {true, false}) {
        kernel().clamshellState = [isNumber] {
            return isNumber ? doubles::makeCFNumber(1, false) : doubles::makeCF(doubles::CFKind::data);
        };
        EXPECT_EQ(clamshell.clamshellState(), ClamshellProperty(UnconvertibleProperty{}));
    }
}

} // namespace
} // namespace kelo
