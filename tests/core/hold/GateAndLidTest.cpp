#include <gtest/gtest.h>

#include <limits>

#include "core/hold/HoldGate.h"
#include "core/hold/Lid.h"
#include "testing/ScriptedClamshell.h"

namespace kelo {
namespace {

TEST(HoldGate, MatchesItsTruthTable) {
    struct Row {
        bool sleeping, lidClosed, handsBackOnLidClose, mayHold;
    };
    const Row rows[] = {
        {false, false, false, true}, {false, false, true, true}, {false, true, false, true}, {false, true, true, false},
        {true, false, false, false}, {true, false, true, false}, {true, true, false, false}, {true, true, true, false},
    };
    for (const auto& row : rows)
        EXPECT_EQ(HoldGate::mayHold(row.sleeping, row.lidClosed, row.handsBackOnLidClose), row.mayHold)
            << row.sleeping << row.lidClosed << row.handsBackOnLidClose;
}

bool isClosed(ClamshellProperty state) {
    ScriptedClamshell clamshell;
    clamshell.state = state;
    return Lid::isClosed(clamshell);
}

TEST(Lid, FollowsABooleanProperty) {
    EXPECT_TRUE(isClosed(true));
    EXPECT_FALSE(isClosed(false));
}

TEST(Lid, IsOpenIfThePropertyIsMissing) { EXPECT_FALSE(isClosed(std::monostate{})); }

TEST(Lid, IsClosedOnlyForTheNumberOne) {
    EXPECT_TRUE(isClosed(1.0));
    for (const double number : {0.0, -0.0, 0.5, 2.0, -1.0, 1.0000001, std::numeric_limits<double>::quiet_NaN(),
                                std::numeric_limits<double>::infinity()})
        EXPECT_FALSE(isClosed(number)) << number;
}

TEST(Lid, IsOpenForAnUnconvertibleProperty) { EXPECT_FALSE(isClosed(UnconvertibleProperty{})); }

TEST(Lid, IsQueriedEachTime) {
    ScriptedClamshell clamshell;
    int queries = 0;
    clamshell.onQuery = [&] { ++queries; };
    EXPECT_FALSE(Lid::isClosed(clamshell));
    clamshell.state = true;
    EXPECT_TRUE(Lid::isClosed(clamshell));
    EXPECT_EQ(queries, 2);
}

} // namespace
} // namespace kelo
