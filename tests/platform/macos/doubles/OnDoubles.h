#pragma once

#include <gmock/gmock.h>

#include <string>
#include <vector>

#include "tests/platform/macos/doubles/Journal.h"
#include "tests/platform/macos/doubles/MainLoop.h"

namespace kelo::doubles {

/// Resets every double. Its destructor fails the test if an object was not released or the platform was misused. The
/// test's thread becomes the main thread.
class DoublesScope {
public:
    DoublesScope();
    ~DoublesScope();
    DoublesScope(const DoublesScope&) = delete;
    DoublesScope& operator=(const DoublesScope&) = delete;
};

class OnDoubles : public ::testing::Test {
private:
    DoublesScope scope_;
};

} // namespace kelo::doubles
