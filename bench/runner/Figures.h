#pragma once

#include <nlohmann/json.hpp>
#include <optional>
#include <string>

namespace kelo::bench {

/// What was measured: printed at once, a line each, and kept for the file.
///
///     name value unit
class Figures {
public:
    void add(const std::string& name, double value, const std::string& unit);

    /// What something costs and what it would cost at least, as two figures NAME and NAME.limit and as their quotient
    /// NAME.ratio, which is to be `target` or less.
    void compare(const std::string& name, double value, double limit, const std::string& unit, double target);

    /// As `add`, for a figure that is to be `target` or less.
    void addWithTarget(const std::string& name, double value, const std::string& unit, double target);

    const nlohmann::ordered_json& json() const { return figures_; }

private:
    void put(const std::string& name, double value, const std::string& unit, std::optional<double> target);

    nlohmann::ordered_json figures_ = nlohmann::ordered_json::array();
};

} // namespace kelo::bench
