#include "prove/reference/Reference.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>

#include "core/fan/Clock.h"
#include "core/fan/Rights.h"
#include "core/smc/SMCExchange.h"

namespace kelo::reference {
namespace {

constexpr std::uint32_t typeFloat = 0x666C7420;
constexpr std::uint32_t typeByte = 0x75693820;
constexpr std::uint32_t typeWord = 0x75693136;
constexpr std::uint32_t typeFixed = 0x66706532;
constexpr std::uint8_t commandRead = 5;
constexpr std::uint8_t commandWrite = 6;
constexpr std::uint8_t commandKeyInfo = 9;
constexpr std::size_t offsetKey = 0;
constexpr std::size_t offsetSize = 28;
constexpr std::size_t offsetType = 32;
constexpr std::size_t offsetResult = 40;
constexpr std::size_t offsetCommand = 42;
constexpr std::size_t offsetBytes = 48;
constexpr std::int32_t statusNoKeyInfo = -2;
constexpr std::int32_t statusNoExchange = -3;
constexpr std::int64_t unlockNanoseconds = 4'000'000'000;
constexpr double retrySeconds = 0.1;
const std::string needsRootText = "Changing fan speed needs administrator rights. Run this with sudo.";

std::string modeRejectedText(std::int32_t code) {
    return "This Mac refused to hand over the fan (code 0x" + hexText(code) +
           "). It usually means the system is managing cooling itself right now.";
}

std::string targetRejectedText(std::int32_t code) {
    return "The fan speed wasn't accepted (code 0x" + hexText(code) + ").";
}

void put32(Record& record, std::size_t offset, std::uint32_t value) {
    std::memcpy(&record[offset], &value, sizeof value);
}

std::uint32_t get32(const Record& record, std::size_t offset) {
    std::uint32_t value = 0;
    std::memcpy(&value, &record[offset], sizeof value);
    return value;
}

Record request(const std::string& key, std::uint8_t command) {
    Record record{};
    std::uint32_t code = 0;
    for (std::size_t i = 0; i < 4; ++i)
        code = code << 8U | static_cast<std::uint8_t>(key[i]); // ignores everything after the fourth character
    put32(record, offsetKey, code);
    record[offsetCommand] = command;
    return record;
}

std::string fanKey(int index, const char* suffix) { return "F" + std::to_string(index) + suffix; }
// Truncates and saturates, as the processor does; NaN becomes 0.
std::int32_t saturated(float value) {
    if (std::isnan(value))
        return 0;
    if (value >= 2147483648.0F)
        return std::numeric_limits<std::int32_t>::max();
    if (value <= -2147483648.0F)
        return std::numeric_limits<std::int32_t>::min();
    return static_cast<std::int32_t>(value);
}

} // namespace

// Key client.

bool Model::exchange(const Record& in, Record& out) {
    SMCKeyData sent;
    SMCKeyData reply{};
    std::memcpy(&sent, in.data(), sizeof sent);
    const bool isDone = platform_.machine.exchange.exchange(smcConnection_, sent, reply);
    std::memcpy(out.data(), &reply, sizeof reply);
    return isDone;
}

std::optional<Model::KeyInfo> Model::keyInfo(const std::string& key) {
    const Record in = request(key, commandKeyInfo);
    Record out{};
    if (!exchange(in, out) || out[offsetResult] != 0)
        return std::nullopt;
    return KeyInfo{get32(out, offsetSize), get32(out, offsetType)};
}

std::optional<std::array<std::uint8_t, 32>> Model::readValue(const std::string& key, KeyInfo& info) {
    const std::optional<KeyInfo> found = keyInfo(key);
    if (!found)
        return std::nullopt;
    info = *found;
    Record in = request(key, commandRead);
    put32(in, offsetSize, info.size);
    Record out{};
    if (!exchange(in, out) || out[offsetResult] != 0)
        return std::nullopt;
    std::array<std::uint8_t, 32> value{};
    std::memcpy(value.data(), &out[offsetBytes], value.size());
    return value;
}

std::optional<std::uint8_t> Model::readByte(const std::string& key) {
    KeyInfo info;
    const auto value = readValue(key, info);
    return value ? std::optional<std::uint8_t>((*value)[0]) : std::nullopt;
}

std::optional<double> Model::readFloat(const std::string& key) {
    KeyInfo info;
    const auto value = readValue(key, info);
    if (!value)
        return std::nullopt;
    const auto word = static_cast<std::uint16_t>((*value)[0] << 8 | (*value)[1]);
    if (info.type == typeFloat && info.size == 4) {
        float result = 0.0F;
        std::memcpy(&result, value->data(), sizeof result);
        return static_cast<double>(result);
    }
    if (info.type == typeByte)
        return (*value)[0];
    if (info.type == typeWord)
        return word;
    if (info.type == typeFixed)
        return word >> 2; // the fraction bits are dropped
    return std::nullopt;
}

std::int32_t Model::writeValue(const std::string& key, const std::array<std::uint8_t, 32>& value, std::uint32_t size) {
    Record in = request(key, commandWrite);
    put32(in, offsetSize, size); // sent unchanged, even if it exceeds 32
    std::memcpy(&in[offsetBytes], value.data(), std::min<std::size_t>(size, value.size()));
    Record out{};
    if (!exchange(in, out))
        return statusNoExchange;
    return out[offsetResult];
}

std::int32_t Model::writeByte(const std::string& key, std::uint8_t value) {
    const std::optional<KeyInfo> info = keyInfo(key);
    if (!info)
        return statusNoKeyInfo;
    return writeValue(key, {value}, std::max<std::uint32_t>(info->size, 1));
}

std::int32_t Model::writeFloat(const std::string& key, float value) {
    const std::optional<KeyInfo> info = keyInfo(key);
    if (!info)
        return statusNoKeyInfo;
    std::array<std::uint8_t, 32> buffer{};
    if (info->type == typeFixed) {
        const auto bits = static_cast<std::uint32_t>(saturated(value * 4.0F));
        buffer[0] = static_cast<std::uint8_t>(bits >> 8U & 0xFFU);
        buffer[1] = static_cast<std::uint8_t>(bits & 0xFFU);
        return writeValue(key, buffer, 2);
    }
    std::memcpy(buffer.data(), &value, sizeof value);
    return writeValue(key, buffer, 4);
}

// Fans and sensors.

void Model::openFans() {
    smcConnection_ = platform_.machine.exchange.open();
    if (smcConnection_ == 0)
        return;
    fanCount_ = readByte("FNum").value_or(0);
    if (fanCount_ == 0) {
        platform_.machine.exchange.close(smcConnection_);
        smcConnection_ = 0;
    }
}

std::vector<Model::Fan> Model::fans() {
    std::vector<Fan> usable;
    for (int index = 0; index < fanCount_; ++index)
        if (const std::optional<Fan> fan = readFan(index))
            usable.push_back(*fan);
    return usable;
}

std::optional<Model::Fan> Model::readFan(int index) {
    const std::optional<double> current = readFloat(fanKey(index, "Ac"));
    if (!current)
        return std::nullopt;
    const std::optional<double> min = readFloat(fanKey(index, "Mn"));
    if (!min)
        return std::nullopt;
    const std::optional<double> max = readFloat(fanKey(index, "Mx"));
    if (!max || !(*min < *max))
        return std::nullopt;
    const bool isManual = readByte(fanKey(index, "Md")).value_or(0) != 0;
    const double target = readFloat(fanKey(index, "Tg")).value_or(*current);
    return Fan{index, *min, *max, *current, target, isManual};
}

std::optional<double> Model::chipTemperature() {
    for (const char* key : {"Tp09", "Tp0T"})
        if (const std::optional<double> celsius = readFloat(key))
            return *celsius;
    return std::nullopt;
}

std::string Model::warmth() {
    const std::optional<double> celsius = chipTemperature();
    return celsius ? warmthText(*celsius) : "cool";
}

std::int64_t Model::nowNanoseconds() { return std::llround(platform_.machine.clock.now() * 1e9); }

Model::Refusal Model::engageManual(int index, bool& neededUnlock) {
    neededUnlock = false;
    if (!platform_.machine.rights.isRoot())
        return needsRootText;
    const std::string mode = fanKey(index, "Md");
    if (writeByte(mode, 1) == 0)
        return std::nullopt;
    writeByte("Ftst", 1); // ignores a refusal; the retries below decide
    const std::int64_t deadline = nowNanoseconds() + unlockNanoseconds;
    std::int32_t lastCode = 0;
    while (nowNanoseconds() < deadline) {
        lastCode = writeByte(mode, 1);
        if (lastCode == 0) {
            neededUnlock = true;
            return std::nullopt;
        }
        platform_.machine.clock.sleep(retrySeconds);
    }
    return modeRejectedText(lastCode); // the unlock switch stays on; handing back clears it
}

Model::Refusal Model::setTarget(int index, double rpm) {
    if (!platform_.machine.rights.isRoot())
        return needsRootText;
    const std::optional<double> min = readFloat(fanKey(index, "Mn"));
    if (!min)
        return noFansText;
    const std::optional<double> max = readFloat(fanKey(index, "Mx"));
    if (!max || !(*min < *max))
        return noFansText;
    double clamped = rpm;
    if (clamped <= *min)
        clamped = *min;
    if (clamped > *max)
        clamped = *max;
    const std::int32_t status = writeFloat(fanKey(index, "Tg"), static_cast<float>(clamped));
    return status == 0 ? Refusal() : targetRejectedText(status);
}

void Model::restoreAuto() {
    for (int index = 0; index < std::max(fanCount_, 1); ++index)
        writeByte(fanKey(index, "Md"), 0); // continues with the other fans after a failure
    writeByte("Ftst", 0);
}

} // namespace kelo::reference
