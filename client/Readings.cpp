#include "client/Readings.h"

#include <utility>

#include "client/view/Line.h"
#include "protocol/KeloHelper.h"

namespace kelo {
namespace {

std::string versionText(std::int64_t version) {
    const bool isNewer = version > KeloHelper::interfaceVersion;
    return std::string("The helper is ") + (isNewer ? "newer" : "older") + " than this kelo (interface version " +
           std::to_string(version) + ", this kelo's is " + std::to_string(KeloHelper::interfaceVersion) + "). Update " +
           (isNewer ? "kelo." : "the helper.");
}

} // namespace

OtherVersion::OtherVersion(std::int64_t helperVersion) : HelperUnreachable(versionText(helperVersion)) {}

Connect sameVersion(Connect connect) {
    return [connect = std::move(connect)] {
        auto helper = connect();
        const auto version = helper->ask(requests::HelperVersion{});
        if (version != KeloHelper::interfaceVersion)
            throw OtherVersion(version);
        return helper;
    };
}

Reading fetchReading(HelperConnection& helper) {
    const auto json = helper.ask(requests::FetchSnapshot{});
    if (!json)
        throw HelperRefused("This Mac has no controllable fan, or its readings are not available.");
    try {
        return {visible({json->begin(), json->end()}), FanSnapshot::decoded(*json)};
    } catch (const SnapshotError& error) {
        throw HelperRefused(error.what());
    }
}

std::string waitingText(const std::string& stopAdvice) {
    return "Waiting for the helper. If it does not answer, this command hands the fans back:\n  " + stopAdvice;
}

} // namespace kelo
