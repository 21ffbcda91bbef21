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
using Violations = std::vector<std::string>;

bool isOfType(const Json& value, const std::string& type) {
    if (type == "object")
        return value.is_object();
    if (type == "boolean")
        return value.is_boolean();
    if (type == "number")
        return value.is_number();
    if (type == "integer")
        return value.is_number_integer() || (value.is_number() && std::trunc(value.get<double>()) == value);
    throw std::invalid_argument("unsupported type " + type);
}

/// Returns the value's schema violations. Throws on an unsupported keyword so that none is silently skipped.
Violations violations(const Json& value, const Json& schema, const std::string& name = "the snapshot") {
    Violations found;
    for (const auto& [keyword, rule] : schema.items()) {
        if (keyword == "type") {
            if (!isOfType(value, rule.get<std::string>()))
                found.push_back(name + " is not of type " + rule.get<std::string>());
        } else if (keyword == "enum") {
            if (std::find(rule.begin(), rule.end(), value) == rule.end())
                found.push_back(name + " is not an allowed value");
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
                    for (const auto& violation : violations(value[key], property, key))
                        found.push_back(violation);
        } else if (keyword != "$schema" && keyword != "$id" && keyword != "title" && keyword != "description" &&
                   keyword != "examples") {
            throw std::invalid_argument("unsupported keyword " + keyword);
        }
    }
    return found;
}

Json schema() {
    std::ifstream file(KELO_SNAPSHOT_SCHEMA);
    return Json::parse(file);
}

Json encoded(const FanSnapshot& snapshot) { return Json::parse(snapshot.encoded()); }

Violations violationsOf(const FanSnapshot& snapshot) { return violations(encoded(snapshot), schema()); }

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

TEST(SnapshotSchema, AcceptsEncodedSnapshots) {
    EXPECT_THAT(violationsOf(fullSnapshot()), IsEmpty());
    EXPECT_THAT(violationsOf({0, 0, 0, 0, 0, false, "cool", std::nullopt, false, false}), IsEmpty());
    constexpr double greatest = std::numeric_limits<double>::max();
    EXPECT_THAT(violationsOf({255, greatest, -greatest, greatest, 0.1, true, "hot", -273.15, true, true}), IsEmpty());
}

TEST(SnapshotSchema, DeclaresTheEncodersMembersInOrder) {
    EXPECT_EQ(keys(schema()["properties"]), keys(encoded(fullSnapshot())));
}

TEST(SnapshotSchema, RequiresTheSameMembersAsTheDecoder) {
    const auto whole = encoded(fullSnapshot());
    for (const auto& key : keys(whole)) {
        auto lacking = whole;
        lacking.erase(key);
        EXPECT_EQ(violations(lacking, schema()).empty(), isDecoded(lacking)) << key;
    }
}

TEST(SnapshotSchema, RejectsTheSameTypesAsTheDecoder) {
    const auto whole = encoded(fullSnapshot());
    const Json values[] = {true, 1, 1.5, "warm", Json::array(), Json::object()};
    for (const auto& key : keys(whole))
        for (const auto& value : values) {
            auto changed = whole;
            changed[key] = value;
            EXPECT_EQ(violations(changed, schema()).empty(), isDecoded(changed)) << changed;
        }
    EXPECT_THAT(violations(Json::array(), schema()), ::testing::Contains("the snapshot is not of type object"));
}

TEST(SnapshotSchema, RejectsUnknownWarmthAndNegativeFanCounts) {
    EXPECT_THAT(violationsOf({-1, 0, 0, 0, 0, false, "cosy", 45.0, false, false}),
                ElementsAre("fanCount is too small", "warmth is not an allowed value"));
}

TEST(SnapshotSchema, AcceptsUnknownMembers) {
    auto json = encoded(fullSnapshot());
    json["exhaustCelsius"] = 40;
    EXPECT_THAT(violations(json, schema()), IsEmpty());
}

TEST(SnapshotSchema, AcceptsItsOwnExamples) {
    const auto written = schema();
    ASSERT_EQ(written["examples"].size(), 2U);
    for (const auto& example : written["examples"]) {
        EXPECT_THAT(violations(example, written), IsEmpty());
        EXPECT_TRUE(isDecoded(example));
    }
}

} // namespace
} // namespace kelo
