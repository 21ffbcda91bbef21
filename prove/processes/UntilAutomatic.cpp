#include "prove/processes/UntilAutomatic.h"

#include <algorithm>
#include <string>

namespace kelo {
namespace {

using namespace hardware_calls;

/// The moment of the first hand-back after `start`, or after the last time that the fan was taken.
double automaticSince(const MacState& mac, int fan, double start) {
    const auto key = "F" + std::to_string(fan) + "Md";
    double since = start;
    bool isManual = true;
    for (const auto& write : mac.writes) {
        if (write.key != key || write.time < start)
            continue;
        const bool takes = write.bytes.at(0) != 0;
        if (isManual && !takes)
            since = write.time;
        isManual = takes;
    }
    return since;
}

} // namespace

double untilAutomatic(const MacState& mac, double start) {
    double last = start;
    for (const auto& fan : mac.fans)
        last = std::max(last, automaticSince(mac, fan.index, start));
    return last - start;
}

} // namespace kelo
