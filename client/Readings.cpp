#include "client/Readings.h"

namespace kelo {

std::string fetchJSON(HelperConnection& helper) {
    const auto json = helper.ask(requests::FetchSnapshot{});
    if (!json)
        throw HelperRefused("This Mac has no controllable fan, or its readings are not available.");
    return {json->begin(), json->end()};
}

FanSnapshot decodedReading(const std::string& json) {
    try {
        return FanSnapshot::decoded(Data(json.begin(), json.end()));
    } catch (const SnapshotError& error) {
        throw HelperRefused(error.what());
    }
}

FanSnapshot fetchReading(HelperConnection& helper) { return decodedReading(fetchJSON(helper)); }

} // namespace kelo
