#include <gmock/gmock.h>

#include <cmath>
#include <fstream>
#include <limits>
#include <nlohmann/json.hpp>
#include <string>

#include "protocol/FanSnapshot.h"

namespace kelo {
namespace {

using Json = nlohmann::ordered_json;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using Complaints = std::vector<std::string>;

bool isOfType(const Json& value, const std::string& type) {
    if (type == "object")
        return value.is_object();
    if (type == "boolean")
        return value.is_boolean();
    if (type == "number")
        return value.is_number();
    if (type == "integer")
        return value.is_number_integer() || (value.is_number() && std::trunc(value.get<double>()) == value);
    throw std::invalid_argument("this validator does not know the type " + type);
}

/// What is wrong with a value, by the keywords that the schema uses. Throws for a keyword that it does not know, so
/// that none goes unchecked.
Complaints complaints(const Json& value, const Json& schema, const std::string& name = "the snapshot") {
    Complaints found;
    for (const auto& [keyword, rule] : schema.items()) {
        if (keyword == "type") {
            if (!isOfType(value, rule.get<std::string>()))
                found.push_back(name + " is no " + rule.get<std::string>());
        } else if (keyword == "enum") {
            if (std::find(rule.begin(), rule.end(), value) == rule.end())
                found.push_back(name + " is none of its values");
        } else if (keyword == "minimum") {
            if (value.is_number() && value < rule)
                found.push_back(name + " is too small");
        } else if (keyword == "required") {
            for (const auto& key : rule)
                if (!value.contains(key))
                    found.push_back(key.get<std::string>() + " is missing");
        } else if (keyword == "properties") {
            for (const auto& [key, property] : rule.items())
                if (value.contains(key))
                    for (const auto& complaint : complaints(value[key], property, key))
                        found.push_back(complaint);
        } else if (keyword != "$schema" && keyword != "$id" && keyword != "title" && keyword != "description" &&
                   keyword != "examples") {
            throw std::invalid_argument("this validator does not know the keyword " + keyword);
        }
    }
    return found;
}

Json schema() {
    std::ifstream file(KELO_SNAPSHOT_SCHEMA);
    return Json::parse(file);
}

Json encoded(const FanSnapshot& snapshot) { return Json::parse(snapshot.encoded()); }

Complaints complaintsOf(const FanSnapshot& snapshot) { return complaints(encoded(snapshot), schema()); }

FanSnapshot fullSnapshot() { return {2, 3612, 1200, 6000, 3600, true, "warm", 61.5, false, false}; }

std::vector<std::string> keys(const Json& object) {
    std::vector<std::string> names;
    for (const auto& [key, value] : object.items())
        names.push_back(key);
    return names;
}

bool isDecoded(const Json& json) {
    const auto text = json.dump();
    try {
        (void)FanSnapshot::decoded({text.begin(), text.end()});
        return true;
    } catch (const SnapshotError&) {
        return false;
    }
}

TEST(SnapshotSchema, HoldsForWhatTheEncoderWrites) {
    EXPECT_THAT(complaintsOf(fullSnapshot()), IsEmpty());
    EXPECT_THAT(complaintsOf({0, 0, 0, 0, 0, false, "cool", std::nullopt, false, false}), IsEmpty());
    constexpr double greatest = std::numeric_limits<double>::max();
    EXPECT_THAT(complaintsOf({255, greatest, -greatest, greatest, 0.1, true, "hot", -273.15, true, true}), IsEmpty());
}

TEST(SnapshotSchema, NamesEveryMemberThatTheEncoderWritesInItsOrderAndNoOther) {
    EXPECT_EQ(keys(schema()["properties"]), keys(encoded(fullSnapshot())));
}

TEST(SnapshotSchema, RequiresWhatTheReaderRequires) {
    const auto whole = encoded(fullSnapshot());
    for (const auto& key : keys(whole)) {
        auto lacking = whole;
        lacking.erase(key);
        EXPECT_EQ(complaints(lacking, schema()).empty(), isDecoded(lacking)) << key;
    }
}

TEST(SnapshotSchema, RefusesTheTypesThatTheReaderRefuses) {
    const auto whole = encoded(fullSnapshot());
    const Json values[] = {true, 1, 1.5, "warm", Json::array(), Json::object()};
    for (const auto& key : keys(whole))
        for (const auto& value : values) {
            auto changed = whole;
            changed[key] = value;
            EXPECT_EQ(complaints(changed, schema()).empty(), isDecoded(changed)) << changed;
        }
    EXPECT_THAT(complaints(Json::array(), schema()), ::testing::Contains("the snapshot is no object"));
}

TEST(SnapshotSchema, KnowsTheThreeWordsForWarmthAndNoNegativeNumberOfFans) {
    EXPECT_THAT(complaintsOf({-1, 0, 0, 0, 0, false, "cosy", 45.0, false, false}),
                ElementsAre("fanCount is too small", "warmth is none of its values"));
}

TEST(SnapshotSchema, LetsAReaderMeetMembersOfALaterHelper) {
    auto json = encoded(fullSnapshot());
    json["exhaustCelsius"] = 40;
    EXPECT_THAT(complaints(json, schema()), IsEmpty());
}

TEST(SnapshotSchema, HoldsForItsOwnExamples) {
    const auto written = schema();
    ASSERT_EQ(written["examples"].size(), 2U);
    for (const auto& example : written["examples"]) {
        EXPECT_THAT(complaints(example, written), IsEmpty());
        EXPECT_TRUE(isDecoded(example));
    }
}

} // namespace
} // namespace kelo
