#include "protocol/FanSnapshot.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <nlohmann/json.hpp>

namespace kelo {
namespace {

using Json = nlohmann::json;

[[noreturn]] void failToRead(const std::string& reason) {
    throw SnapshotError("The snapshot cannot be read: " + reason + ".");
}

const Json& required(const Json& record, const std::string& key) {
    const auto found = record.find(key);
    if (found == record.end())
        failToRead("the key \"" + key + "\" is missing");
    return *found;
}

/// Checks the type, because the library would convert both true and 1.5 to 1.
template <typename T>
T converted(const Json& value, bool hasRightType, const std::string& key) {
    if (!hasRightType)
        failToRead("the key \"" + key + "\" has the wrong type");
    return value.get<T>();
}

std::int64_t requiredCount(const Json& record, const std::string& key) {
    const auto& value = required(record, key);
    const bool isTooLarge =
        value.is_number_unsigned() && value.get<std::uint64_t>() > std::numeric_limits<std::int64_t>::max();
    return converted<std::int64_t>(value, value.is_number_integer() && !isTooLarge, key);
}

/// Accepts any JSON number, with or without a fraction.
double requiredNumber(const Json& record, const std::string& key) {
    const auto& value = required(record, key);
    return converted<double>(value, value.is_number(), key);
}

std::optional<double> optionalNumber(const Json& record, const std::string& key) {
    const auto found = record.find(key);
    if (found == record.end() || found->is_null())
        return std::nullopt;
    return requiredNumber(record, key);
}

bool requiredBoolean(const Json& record, const std::string& key) {
    const auto& value = required(record, key);
    return converted<bool>(value, value.is_boolean(), key);
}

std::string requiredText(const Json& record, const std::string& key) {
    const auto& value = required(record, key);
    return converted<std::string>(value, value.is_string(), key);
}

/// Checks the number, because the library would silently write null.
double finite(double number, const char* key) {
    if (!std::isfinite(number))
        throw SnapshotError(std::string("The snapshot cannot be written: ") + key + " is not a finite number.");
    return number;
}

} // namespace

/// Appends the members one by one instead of building a JSON object: the library allocates memory when it destroys an
/// object, and would end the process if memory had run out.
Data FanSnapshot::encoded() const {
    std::string text;
    const auto add = [&text](const char* key, const Json& value) {
        text.append(text.empty() ? "{\"" : ",\"").append(key).append("\":").append(value.dump());
    };
    try {
        add("fanCount", fanCount);
        add("currentRPM", finite(currentRPM, "currentRPM"));
        add("minRPM", finite(minRPM, "minRPM"));
        add("maxRPM", finite(maxRPM, "maxRPM"));
        add("targetRPM", finite(targetRPM, "targetRPM"));
        add("underKeloControl", underKeloControl);
        add("warmth", warmth);
        if (chipCelsius)
            add("chipCelsius", finite(*chipCelsius, "chipCelsius"));
        add("addingAir", addingAir);
        add("lidHasFan", lidHasFan);
    } catch (const Json::exception&) {
        throw SnapshotError("The snapshot cannot be written: warmth is not UTF-8.");
    }
    text += '}';
    return {text.begin(), text.end()};
}

FanSnapshot FanSnapshot::decoded(const Data& json) {
    if (json.size() > maximumSize)
        failToRead("it is larger than " + std::to_string(maximumSize) + " bytes");
    const auto record = Json::parse(json, nullptr, false);
    // The library treats a NUL byte as the end of the text and ignores the rest. Valid JSON contains no NUL byte.
    if (record.is_discarded() || std::find(json.begin(), json.end(), 0) != json.end())
        failToRead("it is not valid JSON");
    if (!record.is_object())
        failToRead("it is not an object");
    return {
        .fanCount = requiredCount(record, "fanCount"),
        .currentRPM = requiredNumber(record, "currentRPM"),
        .minRPM = requiredNumber(record, "minRPM"),
        .maxRPM = requiredNumber(record, "maxRPM"),
        .targetRPM = requiredNumber(record, "targetRPM"),
        .underKeloControl = requiredBoolean(record, "underKeloControl"),
        .warmth = requiredText(record, "warmth"),
        .chipCelsius = optionalNumber(record, "chipCelsius"),
        .addingAir = requiredBoolean(record, "addingAir"),
        .lidHasFan = requiredBoolean(record, "lidHasFan"),
    };
}

} // namespace kelo
