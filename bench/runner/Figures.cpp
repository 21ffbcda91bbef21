#include "bench/runner/Figures.h"

#include <cstdio>

namespace kelo::bench {

void Figures::add(const std::string& name, double value, const std::string& unit) {
    put(name, value, unit, std::nullopt);
}

void Figures::compare(const std::string& name, double value, double limit, const std::string& unit, double target) {
    add(name, value, unit);
    add(name + ".limit", limit, unit);
    put(name + ".ratio", value / limit, "ratio", target);
}

void Figures::addWithTarget(const std::string& name, double value, const std::string& unit, double target) {
    put(name, value, unit, target);
}

void Figures::put(const std::string& name, double value, const std::string& unit, std::optional<double> target) {
    std::printf("%-40s %12.2f %s", name.c_str(), value, unit.c_str());
    if (target)
        std::printf("   (target %.6g)", *target);
    std::printf("\n");
    std::fflush(stdout);
    nlohmann::ordered_json figure = {{"name", name}, {"value", value}, {"unit", unit}};
    if (target)
        figure["target"] = *target;
    figures_.push_back(std::move(figure));
}

} // namespace kelo::bench
