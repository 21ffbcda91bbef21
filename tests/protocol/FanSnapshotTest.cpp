#include "protocol/FanSnapshot.h"

#include <gmock/gmock.h>

#include <array>
#include <bit>
#include <cmath>
#include <limits>
#include <nlohmann/json.hpp>
#include <random>
#include <string>

namespace kelo {
namespace {

using namespace std::string_literals;
using ::testing::AnyOf;
using ::testing::HasSubstr;
using ::testing::Not;

/// The four speeds in the record's order, then the chip's temperature.
using Readings = std::array<double, 5>;
constexpr Readings heldReadings = {2404.0, 1200.0, 6000.0, 2400.0, 61.5};

FanSnapshot snapshotOf(std::int64_t fanCount, const Readings& readings, bool addingAir = false) {
    return {.fanCount = fanCount,
            .currentRPM = readings[0],
            .minRPM = readings[1],
            .maxRPM = readings[2],
            .targetRPM = readings[3],
            .underKeloControl = true,
            .warmth = "warm",
            .chipCelsius = readings[4],
            .addingAir = addingAir,
            .lidHasFan = false};
}

FanSnapshot heldSnapshot() { return snapshotOf(1, heldReadings); }

Data bytes(const std::string& text) { return {text.begin(), text.end()}; }

std::string text(const FanSnapshot& snapshot) {
    const auto data = snapshot.encoded();
    return {data.begin(), data.end()};
}

std::string whole() { return text(heldSnapshot()); }

Data inserted(const std::string& piece, std::size_t place) { return bytes(whole().insert(place, piece)); }

std::string decodingError(const Data& data) {
    try {
        (void)FanSnapshot::decoded(data);
    } catch (const SnapshotError& error) {
        return error.what();
    }
    return "decoded";
}

nlohmann::ordered_json members() { return nlohmann::ordered_json::parse(whole()); }

const char* const requiredKeys[] = {"fanCount",         "currentRPM", "minRPM",    "maxRPM",   "targetRPM",
                                    "underKeloControl", "warmth",     "addingAir", "lidHasFan"};

TEST(FanSnapshotEncoding, WritesTheTenMembersInOrder) {
    EXPECT_EQ(whole(), R"({"fanCount":1,"currentRPM":2404.0,"minRPM":1200.0,"maxRPM":6000.0,)"
                       R"("targetRPM":2400.0,"underKeloControl":true,"warmth":"warm","chipCelsius":61.5,)"
                       R"("addingAir":false,"lidHasFan":false})");
}

TEST(FanSnapshotEncoding, OmitsAMissingChipTemperature) {
    const FanSnapshot snapshot{1, 2404, 1200, 6000, 2400, true, "warm", std::nullopt, false, false};
    EXPECT_EQ(nlohmann::json::parse(text(snapshot)).size(), 9U);
    EXPECT_THAT(text(snapshot), Not(AnyOf(HasSubstr("chipCelsius"), HasSubstr("null"))));
}

TEST(FanSnapshotEncoding, EncodesASnapshotWithoutFans) {
    const FanSnapshot none{0, 0, 0, 0, 0, false, "cool", 45.0, false, false};
    EXPECT_EQ(FanSnapshot::decoded(none.encoded()), none);
}

TEST(FanSnapshotEncoding, FailsForANonFiniteNumber) {
    for (const double number : {std::numeric_limits<double>::quiet_NaN(), std::numeric_limits<double>::infinity(),
                                -std::numeric_limits<double>::infinity()})
        for (std::size_t reading = 0; reading < heldReadings.size(); ++reading) {
            auto readings = heldReadings;
            readings[reading] = number;
            EXPECT_THROW((void)snapshotOf(1, readings).encoded(), SnapshotError) << reading;
        }
}

TEST(FanSnapshotEncoding, FailsForANonUTF8Warmth) {
    const FanSnapshot snapshot{0, 0, 0, 0, 0, false, "\xFF\xFE", 45.0, false, false};
    EXPECT_THROW((void)snapshot.encoded(), SnapshotError);
}

TEST(FanSnapshotEncoding, DecodesToTheSameSnapshot) {
    std::mt19937_64 random(20261121);
    for (int i = 0; i < 2'000; ++i) {
        Readings readings{};
        for (double& reading : readings) {
            const auto number = std::bit_cast<double>(random());
            reading = std::isfinite(number) ? number : 0.5;
        }
        const auto snapshot = snapshotOf(static_cast<std::int64_t>(random()), readings, random() % 2 == 0);
        ASSERT_EQ(FanSnapshot::decoded(snapshot.encoded()), snapshot) << text(snapshot);
    }
}

TEST(FanSnapshotDecoding, ReadsMembersInAnyOrderAndSpeedsInAnyNotation) {
    const auto snapshot = FanSnapshot::decoded(
        bytes(R"( { "lidHasFan" : false, "addingAir":false, "warmth":"warm", "underKeloControl":true,
                   "targetRPM":2400, "maxRPM":6e3, "minRPM":12e2, "currentRPM":2404, "fanCount":1,
                   "chipCelsius":61.5 } )"));
    EXPECT_EQ(snapshot, heldSnapshot());
}

TEST(FanSnapshotDecoding, ReadsSpeedsThatExceedIntegers) {
    const std::pair<const char*, double> speeds[] = {
        {"9223372036854775808", 0x1p63}, {"18446744073709551615", 0x1p64}, {"-1e300", -1e300}};
    for (const auto& [written, speed] : speeds) {
        auto json = whole();
        json.replace(json.find("2404.0"), 6, written);
        EXPECT_EQ(FanSnapshot::decoded(bytes(json)).currentRPM, speed) << written;
    }
}

TEST(FanSnapshotDecoding, TreatsANullChipTemperatureAsMissing) {
    auto json = members();
    json["chipCelsius"] = nullptr;
    EXPECT_EQ(FanSnapshot::decoded(bytes(json.dump())).chipCelsius, std::nullopt);
    json.erase("chipCelsius");
    EXPECT_EQ(FanSnapshot::decoded(bytes(json.dump())).chipCelsius, std::nullopt);
}

TEST(FanSnapshotDecoding, FailsIfARequiredKeyIsMissing) {
    for (const auto* key : requiredKeys) {
        auto json = members();
        json.erase(key);
        EXPECT_EQ(decodingError(bytes(json.dump())),
                  "The snapshot cannot be read: the key \"" + std::string(key) + "\" is missing.");
    }
}

TEST(FanSnapshotDecoding, FailsForNullInARequiredMember) {
    for (const auto* key : requiredKeys) {
        auto json = members();
        json[key] = nullptr;
        EXPECT_EQ(decodingError(bytes(json.dump())),
                  "The snapshot cannot be read: the key \"" + std::string(key) + "\" has the wrong type.");
    }
}

TEST(FanSnapshotDecoding, FailsForAValueOfTheWrongType) {
    const std::pair<const char*, const char*> wrongValues[] = {
        {"fanCount", "1.5"},
        {"fanCount", "1.0"},
        {"fanCount", "true"},
        {"fanCount", "\"1\""},
        {"fanCount", "[1]"},
        {"currentRPM", "true"},
        {"currentRPM", "\"1\""},
        {"minRPM", "false"},
        {"maxRPM", "{}"},
        {"targetRPM", "[]"},
        {"underKeloControl", "1"},
        {"underKeloControl", "0"},
        {"underKeloControl", "\"true\""},
        {"warmth", "1"},
        {"warmth", "true"},
        {"chipCelsius", "true"},
        {"chipCelsius", "\"61.5\""},
        {"addingAir", "0"},
        {"lidHasFan", "1"},
        {"lidHasFan", "\"\""},
        {"fanCount", "9223372036854775808"},
    };
    for (const auto& [key, value] : wrongValues) {
        auto json = members();
        json[key] = nlohmann::ordered_json::parse(value);
        EXPECT_THAT(decodingError(bytes(json.dump())), HasSubstr("\"" + std::string(key) + "\" has the wrong type"))
            << value;
    }
}

TEST(FanSnapshotDecoding, IgnoresUnknownKeysWithAnyValue) {
    const std::string deep = std::string(32'000, '[') + std::string(32'000, ']');
    const std::string large = "\"" + std::string(64'000, 'x') + "\"";
    for (const auto& member :
         {R"("fancount":7)"s, R"("":null)"s, R"("nested":{"fanCount":9,"list":[1,2,{"warmth":null}]})"s,
          R"("twice":1,"twice":"text")"s, "\"deep\":" + deep, "\"large\":" + large}) {
        EXPECT_EQ(decodingError(inserted(member + ",", 1)), "decoded") << member.substr(0, 60);
        EXPECT_EQ(decodingError(inserted("," + member, whole().size() - 1)), "decoded") << member.substr(0, 60);
    }
}

TEST(FanSnapshotDecoding, FindsOnlyTopLevelKeys) {
    EXPECT_EQ(decodingError(bytes(R"({"snapshot":)" + whole() + "}")),
              "The snapshot cannot be read: the key \"fanCount\" is missing.");
}

TEST(FanSnapshotDecoding, UsesTheLastValueOfARepeatedKey) {
    for (const auto* last : {R"(,"fanCount":2)", R"(,"\u0066anCount":2)", R"(,"fanCount":"1","fanCount":2)"})
        EXPECT_EQ(FanSnapshot::decoded(inserted(last, whole().size() - 1)).fanCount, 2) << last;
    EXPECT_THAT(decodingError(inserted(R"(,"fanCount":"2")", whole().size() - 1)),
                HasSubstr("\"fanCount\" has the wrong type"));
}

TEST(FanSnapshotDecoding, ReadsAnEscapedKey) {
    auto json = whole();
    json.replace(json.find("fanCount"), 8, R"(\u0066anCount)");
    EXPECT_EQ(FanSnapshot::decoded(bytes(json)), heldSnapshot());
}

TEST(FanSnapshotDecoding, ReadsAnySigned64BitCount) {
    const std::pair<const char*, std::int64_t> counts[] = {
        {"-9223372036854775808", INT64_MIN}, {"9223372036854775807", INT64_MAX}, {"-1", -1}, {"-0", 0}};
    for (const auto& [written, count] : counts) {
        auto json = whole();
        json.replace(json.find(":1,"), 3, ":" + std::string(written) + ",");
        const auto expected = snapshotOf(count, heldReadings);
        EXPECT_EQ(FanSnapshot::decoded(bytes(json)), expected) << written;
        EXPECT_EQ(FanSnapshot::decoded(expected.encoded()), expected) << written;
    }
    for (const auto* tooMuch : {"-9223372036854775809", "9223372036854775808"}) {
        auto json = whole();
        json.replace(json.find(":1,"), 3, ":" + std::string(tooMuch) + ",");
        EXPECT_THAT(decodingError(bytes(json)), HasSubstr("\"fanCount\" has the wrong type")) << tooMuch;
    }
}

TEST(FanSnapshotDecoding, FailsForNonObjects) {
    for (const auto* json : {"[]", "1", "true", "null", "\"text\"", "[{}]"})
        EXPECT_THAT(decodingError(bytes(json)), HasSubstr("it is not an object")) << json;
}

TEST(FanSnapshotDecoding, FailsForInvalidJSON) {
    for (std::size_t length = 0; length < whole().size(); ++length)
        EXPECT_THAT(decodingError(bytes(whole().substr(0, length))), HasSubstr("not valid JSON")) << length;
    for (const auto& broken :
         {whole() + "}", whole() + whole(), "{" + whole(), "/**/" + whole(), "{,}"s, "\0"s, whole() + "\0"s,
          whole() + "\0}"s, whole().insert(1, 1, '\0'), whole().insert(2, 1, '\0'), R"({"currentRPM":1e999})"s,
          R"({"currentRPM":NaN})"s, std::string(65'536, '['), "{\"a\":" + std::string(65'000, '[')})
        EXPECT_THAT(decodingError(bytes(broken)), HasSubstr("not valid JSON")) << broken.substr(0, 200);
    for (const auto* notUTF8 : {"\xFF", "\xC0\x80", "\xED\xA0\x80", "\xF5\x80\x80\x80", "\xE2\x82"})
        EXPECT_THAT(decodingError(bytes("{\"warmth\":\"" + std::string(notUTF8) + "\"}")), HasSubstr("not valid JSON"));
}

TEST(FanSnapshotDecoding, ReadsUpToTheSizeLimit) {
    auto json = whole();
    json.resize(65'536, ' ');
    EXPECT_EQ(FanSnapshot::decoded(bytes(json)), heldSnapshot());
    for (const std::size_t size : {65'537U, 4U << 20U}) {
        json.resize(size, ' ');
        EXPECT_THAT(decodingError(bytes(json)), HasSubstr("larger than 65536 bytes"));
    }
}

TEST(FanSnapshotDecoding, SurvivesAnyBytes) {
    std::mt19937 random(3);
    for (int i = 0; i < 20'000; ++i) {
        auto data = bytes(whole());
        for (int change = 0; change < 3; ++change)
            data[random() % data.size()] = static_cast<std::uint8_t>(random());
        EXPECT_FALSE(decodingError(data).empty());
    }
}

} // namespace
} // namespace kelo
