#include "protocol/FanSnapshot.h"

#include <cmath>
#include <map>
#include <nlohmann/json.hpp>
#include <variant>

namespace kelo {
namespace {

/// A value of the top-level object. Arrays and objects are only known to be there: no key of ours holds one.
struct Compound {};
using Value = std::variant<std::nullptr_t, bool, std::int64_t, double, std::string, Compound>;

/// Collects the top-level object's values while the library parses, so that nothing hostile is ever built in memory.
class SnapshotReader : public nlohmann::json_sax<nlohmann::json> {
public:
    bool null() override { return add(nullptr); }
    bool boolean(bool value) override { return add(value); }
    bool number_integer(number_integer_t value) override { return add(std::int64_t{value}); }
    bool number_unsigned(number_unsigned_t value) override {
        if (value > INT64_MAX)
            return add(static_cast<double>(value)); // good for a speed, not for a count
        return add(static_cast<std::int64_t>(value));
    }
    bool number_float(number_float_t value, const string_t&) override { return add(value); }
    bool string(string_t& value) override { return add(value); }
    bool binary(binary_t&) override { return fail("it holds binary data"); }

    bool start_object(std::size_t) override { return enter(); }
    bool end_object() override { return leave(); }
    bool start_array(std::size_t) override {
        if (depth_ == 0)
            return fail("it is not an object");
        return enter();
    }
    bool end_array() override { return leave(); }

    bool key(string_t& name) override {
        if (depth_ != 1)
            return true;
        if (values_.contains(name))
            return fail("the key \"" + name + "\" appears twice");
        key_ = name;
        return true;
    }

    bool parse_error(std::size_t position, const std::string&, const nlohmann::detail::exception&) override {
        return fail("it is not valid JSON at byte " + std::to_string(position));
    }

    const std::string& error() const { return error_; }
    std::map<std::string, Value>& values() { return values_; }

private:
    static constexpr int maximumDepth = 32;

    bool add(Value value) {
        if (depth_ == 0)
            return fail("it is not an object");
        if (depth_ == 1)
            values_[key_] = std::move(value);
        return true;
    }

    bool enter() {
        if (depth_ == 1)
            values_[key_] = Compound{};
        if (++depth_ > maximumDepth)
            return fail("it is nested too deeply");
        return true;
    }

    bool leave() {
        --depth_;
        return true;
    }

    bool fail(const std::string& reason) {
        error_ = reason;
        return false;
    }

    int depth_ = 0;
    std::string key_;
    std::string error_;
    std::map<std::string, Value> values_;
};

[[noreturn]] void failToRead(const std::string& reason) {
    throw SnapshotError("The snapshot cannot be read: " + reason + ".");
}

/// The values of a record by key, with strict types.
class Record {
public:
    explicit Record(std::map<std::string, Value> values) : values_(std::move(values)) {}

    template <typename T>
    T required(const std::string& key) const {
        if (const auto* value = std::get_if<T>(&find(key)))
            return *value;
        failToRead("the key \"" + key + "\" has another type than expected");
    }

    /// Any JSON number will do, with a fraction or without.
    double requiredNumber(const std::string& key) const {
        if (const auto* integer = std::get_if<std::int64_t>(&find(key)))
            return static_cast<double>(*integer);
        return required<double>(key);
    }

    std::optional<double> optionalNumber(const std::string& key) const {
        const auto found = values_.find(key);
        if (found == values_.end() || std::holds_alternative<std::nullptr_t>(found->second))
            return std::nullopt;
        return requiredNumber(key);
    }

private:
    const Value& find(const std::string& key) const {
        const auto found = values_.find(key);
        if (found == values_.end())
            failToRead("the key \"" + key + "\" is missing");
        return found->second;
    }

    std::map<std::string, Value> values_;
};

/// The library would write null for it, in silence.
double finite(double number, const char* key) {
    if (!std::isfinite(number))
        throw SnapshotError(std::string("The snapshot cannot be written: ") + key + " is not a finite number.");
    return number;
}

} // namespace

Data FanSnapshot::encoded() const {
    nlohmann::ordered_json json;
    json["fanCount"] = fanCount;
    json["currentRPM"] = finite(currentRPM, "currentRPM");
    json["minRPM"] = finite(minRPM, "minRPM");
    json["maxRPM"] = finite(maxRPM, "maxRPM");
    json["targetRPM"] = finite(targetRPM, "targetRPM");
    json["underKeloControl"] = underKeloControl;
    json["warmth"] = warmth;
    if (chipCelsius)
        json["chipCelsius"] = finite(*chipCelsius, "chipCelsius");
    json["addingAir"] = addingAir;
    json["lidHasFan"] = lidHasFan;
    try {
        const auto text = json.dump();
        return {text.begin(), text.end()};
    } catch (const nlohmann::json::exception&) {
        throw SnapshotError("The snapshot cannot be written: warmth is not UTF-8.");
    }
}

FanSnapshot FanSnapshot::decoded(const Data& json) {
    if (json.size() > maximumSize)
        failToRead("it is larger than " + std::to_string(maximumSize) + " bytes");
    SnapshotReader reader;
    if (!nlohmann::json::sax_parse(json, &reader))
        failToRead(reader.error());
    const Record record(std::move(reader.values()));
    return {
        .fanCount = record.required<std::int64_t>("fanCount"),
        .currentRPM = record.requiredNumber("currentRPM"),
        .minRPM = record.requiredNumber("minRPM"),
        .maxRPM = record.requiredNumber("maxRPM"),
        .targetRPM = record.requiredNumber("targetRPM"),
        .underKeloControl = record.required<bool>("underKeloControl"),
        .warmth = record.required<std::string>("warmth"),
        .chipCelsius = record.optionalNumber("chipCelsius"),
        .addingAir = record.required<bool>("addingAir"),
        .lidHasFan = record.required<bool>("lidHasFan"),
    };
}

} // namespace kelo
