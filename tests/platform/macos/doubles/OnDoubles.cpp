#include "tests/platform/macos/doubles/OnDoubles.h"

#include <unistd.h>

#include <cstdio>
#include <cstdlib>

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
    resetXPC(); // first: ends the threads that may use the other doubles
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

bool isTestRunning = false;

/// Fails the test run if the helper exits with status 0 during a test. Otherwise the exit would look like success.
void refuseSuccess(int status, void*) {
    if (status != 0 || !isTestRunning)
        return;
    std::fputs("the process exited during a test\n", stderr);
    _exit(1);
}

} // namespace

DoublesScope::DoublesScope() {
    static const int registered = on_exit(refuseSuccess, nullptr);
    static_cast<void>(registered);
    isTestRunning = true;
    resetAll();
}

DoublesScope::~DoublesScope() {
    isTestRunning = false;
    mainLoop().runFor(0); // run the cancel handlers
    endConnections();
    settleXPC();
    EXPECT_THAT(journal().live(), IsEmpty()) << "not released";
    EXPECT_THAT(journal().misuses(), IsEmpty());
    resetAll();
}

} // namespace kelo::doubles
