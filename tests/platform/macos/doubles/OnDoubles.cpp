#include "tests/platform/macos/doubles/OnDoubles.h"

#include "tests/platform/macos/doubles/CoreFoundationDouble.h"
#include "tests/platform/macos/doubles/DispatchDouble.h"
#include "tests/platform/macos/doubles/FoundationReset.h"
#include "tests/platform/macos/doubles/IOKitDouble.h"
#include "tests/platform/macos/doubles/LogDouble.h"
#include "tests/platform/macos/doubles/PosixDouble.h"
#include "tests/platform/macos/doubles/RunLoopDouble.h"
#include "tests/platform/macos/doubles/SecurityDouble.h"
#include "tests/platform/macos/doubles/XPCDouble.h"

namespace kelo::doubles {

using ::testing::IsEmpty;

namespace {

void resetAll() {
    resetXPC(); // first: it ends the threads that may use the others
    mainLoop().reset();
    resetDispatch();
    resetRunLoop();
    resetIOKit();
    resetSecurity();
    resetPosix();
    resetFoundation();
    resetCoreFoundation();
    resetLog();
    journal().reset();
}

} // namespace

DoublesScope::DoublesScope() { resetAll(); }

DoublesScope::~DoublesScope() {
    mainLoop().runFor(0); // the cancel handlers
    endConnections();
    settleXPC();
    EXPECT_THAT(journal().live(), IsEmpty()) << "not released";
    EXPECT_THAT(journal().misuses(), IsEmpty());
    resetAll();
}

} // namespace kelo::doubles
