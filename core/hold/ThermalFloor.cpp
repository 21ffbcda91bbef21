#include "core/hold/ThermalFloor.h"

#include <algorithm>
#include <iterator>

namespace kelo {
namespace {

struct CurvePoint {
    double celsius;
    double fraction;
};

// Sorted by temperature, as the search below requires.
constexpr CurvePoint curve[] = {{89.0, 0.04}, {96.0, 0.5}, {101.0, 1.0}};

} // namespace

std::optional<double> ThermalFloor::smoothed(std::span<const double> readings) {
    if (readings.empty())
        return std::nullopt;
    const auto newest = readings.last(std::min<std::size_t>(readings.size(), smoothingWindow));
    double sum = 0;
    for (const double reading : newest)
        sum += reading;
    return sum / static_cast<double>(newest.size());
}

double ThermalFloor::fraction(double chipCelsius) {
    // The condition is negated so that NaN returns 0: an unknown temperature must not raise the speed.
    if (!(chipCelsius > std::begin(curve)->celsius))
        return 0;
    if (!(chipCelsius < std::rbegin(curve)->celsius))
        return 1;
    const auto* b = std::find_if(std::next(std::begin(curve)), std::end(curve),
                                 [&](const CurvePoint& point) { return chipCelsius <= point.celsius; });
    const auto* a = std::prev(b);
    return a->fraction + (chipCelsius - a->celsius) / (b->celsius - a->celsius) * (b->fraction - a->fraction);
}

double ThermalFloor::hold(double asked, std::optional<double> chipCelsius) {
    if (!chipCelsius)
        return asked;
    const double floor = fraction(*chipCelsius);
    return asked > floor ? asked : floor;
}

double ThermalFloor::eased(double from, double to) { return std::max(to, from - fallPerStep); }

} // namespace kelo
