#include "core/fan/FanController.h"

#include <charconv>
#include <cstdint>

#include "core/fan/Clock.h"
#include "core/fan/Rights.h"
#include "core/smc/smc.h"

namespace kelo {
namespace {

constexpr const char* fanCountKey = "FNum";
constexpr const char* unlockKey = "Ftst";
constexpr const char* chipKeys[] = {"Tp09", "Tp0T"};
constexpr const char* enclosureKeys[] = {"Ts0S", "Ts1P", "TW0P"};
constexpr std::uint8_t automaticMode = 0;
constexpr std::uint8_t manualMode = 1;
constexpr double retrySpacing = 0.1; // seconds

/// The name of a fan's key, such as "F0Ac". Does not allocate, so that handing a fan back cannot fail when memory runs
/// out.
class FanKey {
public:
    FanKey(int fan, std::string_view suffix) {
        auto* const end = std::to_chars(text_ + 1, text_ + sizeof text_, fan).ptr;
        suffix.copy(end, suffix.size());
    }
    operator const char*() const { return text_; } // NOLINT(google-explicit-constructor): used as a C string

private:
    char text_[16] = "F"; // "F-2147483648Ac" is the longest
};

std::optional<double> readFloat(const char* key) {
    float value = 0;
    if (smc_read_float(key, &value) != 0)
        return std::nullopt;
    return static_cast<double>(value);
}

struct SpeedRange {
    double minRPM;
    double maxRPM;
};

/// Returns nullopt if a bound cannot be read or is NaN, or if the range is empty or inverted.
std::optional<SpeedRange> readRange(int fan) {
    const auto min = readFloat(FanKey(fan, "Mn"));
    if (!min)
        return std::nullopt;
    const auto max = readFloat(FanKey(fan, "Mx"));
    if (!max || !(*min < *max))
        return std::nullopt;
    return SpeedRange{*min, *max};
}

void appendFan(int index, std::vector<Fan>& fans) {
    const auto current = readFloat(FanKey(index, "Ac"));
    if (!current)
        return;
    const auto range = readRange(index);
    if (!range)
        return;
    std::uint8_t mode = automaticMode;
    smc_read_u8(FanKey(index, "Md"), &mode); // an unreadable mode counts as automatic
    const auto target = readFloat(FanKey(index, "Tg"));
    fans.push_back({index, range->minRPM, range->maxRPM, *current, target.value_or(*current), mode != automaticMode});
}

std::int32_t writeMode(int fan, std::uint8_t mode) { return smc_write_u8(FanKey(fan, "Md"), mode); }

} // namespace

FanController::FanController(SMCExchange& exchange, Clock& clock, Rights& rights) : clock_(clock), rights_(rights) {
    smc_set_exchange(&exchange);
    if (smc_open() != 0)
        throw FanError::smcUnavailable();
    std::uint8_t count = 0;
    if (smc_read_u8(fanCountKey, &count) != 0 || count == 0) {
        smc_close();
        throw FanError::noFans();
    }
    fanCount_ = count;
}

FanController::~FanController() { smc_close(); }

bool FanController::isRoot() const { return rights_.isRoot(); }

std::vector<Fan> FanController::fans() const {
    std::vector<Fan> fans;
    readFans(fans);
    return fans;
}

void FanController::readFans(std::vector<Fan>& fans) const {
    fans.clear();
    for (int i = 0; i < fanCount_; ++i)
        appendFan(i, fans);
}

std::optional<double> FanController::chipTemperature() const {
    for (const auto* key : chipKeys)
        if (const auto celsius = readFloat(key))
            return celsius;
    return std::nullopt;
}

std::map<std::string, double> FanController::enclosureTemperatures() const {
    std::map<std::string, double> temperatures;
    for (const auto* key : enclosureKeys)
        if (const auto celsius = readFloat(key))
            temperatures[key] = *celsius;
    return temperatures;
}

Warmth FanController::warmth() const {
    const auto celsius = chipTemperature();
    if (!celsius || *celsius < 60.0)
        return Warmth::cool;
    return *celsius < 80.0 ? Warmth::warm : Warmth::hot; // to be safe, NaN counts as hot
}

bool FanController::engageManual(int fan) {
    if (!isRoot())
        throw FanError::needsRoot();
    if (writeMode(fan, manualMode) == 0)
        return false;
    smc_write_u8(unlockKey, 1); // the retries below show whether it helped
    const auto deadline = clock_.now() + unlockTimeout;
    std::int32_t lastCode = 0;
    while (clock_.now() < deadline) {
        lastCode = writeMode(fan, manualMode);
        if (lastCode == 0)
            return true;
        clock_.sleep(retrySpacing);
    }
    throw FanError::modeRejected(lastCode);
}

double FanController::setTarget(int fan, double rpm) {
    if (!isRoot())
        throw FanError::needsRoot();
    const auto range = readRange(fan);
    if (!range)
        throw FanError::noFans();
    double clamped = rpm <= range->minRPM ? range->minRPM : rpm;
    if (clamped > range->maxRPM)
        clamped = range->maxRPM;
    const auto status = smc_write_float(FanKey(fan, "Tg"), static_cast<float>(clamped));
    if (status != 0)
        throw FanError::targetRejected(status);
    return clamped;
}

void FanController::restoreAuto() noexcept {
    // Ignores the statuses on purpose: a fan that refuses must not prevent the hand-back of the others.
    for (int i = 0; i < fanCount_; ++i)
        writeMode(i, automaticMode);
    smc_write_u8(unlockKey, 0);
}

} // namespace kelo
