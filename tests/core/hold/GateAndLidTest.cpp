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

TEST(Lid, IsClosedOnlyForTrueAndTheNumberOne) {
    ScriptedClamshell clamshell;
    for (const ClamshellProperty& closed : {ClamshellProperty(true), ClamshellProperty(1.0)}) {
        clamshell.state = closed;
        EXPECT_TRUE(Lid::isClosed(clamshell));
    }
    const ClamshellProperty openStates[] = {std::monostate{},
                                            false,
                                            UnconvertibleProperty{},
                                            0.0,
                                            -0.0,
                                            0.5,
                                            2.0,
                                            -1.0,
                                            1.0000001,
                                            std::numeric_limits<double>::quiet_NaN(),
                                            std::numeric_limits<double>::infinity()};
    for (const auto& state : openStates) {
        clamshell.state = state;
        EXPECT_FALSE(Lid::isClosed(clamshell)) << &state - openStates;
    }
}

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
