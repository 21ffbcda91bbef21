#include "platform/posix/ConnectionPlaces.h"

#include <gtest/gtest.h>

#include <vector>

namespace kelo {
namespace {

class ConnectionPlacesTest : public ::testing::Test {
protected:
    /// How many places `process` gets, up to `wanted`. They stay taken.
    std::size_t take(pid_t process, std::size_t wanted) {
        for (std::size_t count = 0; count < wanted; ++count) {
            auto place = places->take(process);
            if (!place)
                return count;
            taken.push_back(std::move(place));
        }
        return wanted;
    }

    const PlaceLimits limits{.total = 8 * 20, .ofProcess = 20};
    const std::shared_ptr<ConnectionPlaces> places = std::make_shared<ConnectionPlaces>(limits);
    std::vector<ConnectionPlaces::Place> taken;
};

TEST_F(ConnectionPlacesTest, OneProcessGetsSoManyAndOthersFindRoom) {
    EXPECT_EQ(take(7, 100), limits.ofProcess);
    EXPECT_EQ(take(8, 1), 1U);
}

TEST_F(ConnectionPlacesTest, APlaceThatIsGivenUpIsFreeAgain) {
    take(7, limits.ofProcess);
    taken.pop_back();
    EXPECT_EQ(take(7, 2), 1U);
    taken.clear();
    EXPECT_EQ(take(7, 100), limits.ofProcess);
}

TEST_F(ConnectionPlacesTest, ThereAreNoMoreThanSoManyInAll) {
    for (pid_t process = 1; process <= 8; ++process)
        EXPECT_EQ(take(process, 100), limits.ofProcess);
    EXPECT_EQ(taken.size(), limits.total);
    EXPECT_EQ(take(9, 1), 0U);
    taken.pop_back();
    EXPECT_EQ(take(9, 2), 1U);
}

TEST_F(ConnectionPlacesTest, AProcessHas32AndAllTogetherHave256) {
    EXPECT_EQ(PlaceLimits().ofProcess, 32U);
    EXPECT_EQ(PlaceLimits().total, 256U);
}

TEST_F(ConnectionPlacesTest, APlaceMayOutliveThoseWhoGaveIt) {
    auto own = std::make_shared<ConnectionPlaces>();
    auto place = own->take(7);
    own.reset();
    place.reset();
}

} // namespace
} // namespace kelo
