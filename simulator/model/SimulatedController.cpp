#include "simulator/model/SimulatedController.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <stdexcept>

namespace kelo {
namespace {

std::uint32_t codeOf(std::string_view name) {
    if (name.size() != 4)
        throw std::invalid_argument("a key has four characters: \"" + std::string(name) + "\"");
    return smcCode(name.data());
}

std::string nameOf(std::uint32_t code) {
    std::string name;
    for (const int shift : {24, 16, 8, 0})
        name.push_back(static_cast<char>(code >> shift));
    return name;
}

bool isModeKey(std::uint32_t code) {
    const auto name = nameOf(code);
    return name[0] == 'F' && name[1] >= '0' && name[1] <= '9' && name.ends_with("Md");
}

/// The integer in 0...`max` that is nearest to `value`; 0 for NaN.
double wholeNumber(double value, double max) {
    return std::isnan(value) ? 0.0 : std::clamp(std::round(value), 0.0, max);
}

void storeBigEndian16(std::uint8_t* bytes, double value) {
    const auto raw = static_cast<std::uint16_t>(wholeNumber(value, 65535));
    bytes[0] = static_cast<std::uint8_t>(raw >> 8);
    bytes[1] = static_cast<std::uint8_t>(raw);
}

std::string hexByte(std::uint8_t byte) {
    constexpr const char* digits = "0123456789abcdef";
    return {digits[byte >> 4], digits[byte & 15]};
}

} // namespace

std::string ExchangeRecord::key() const { return nameOf(request.key); }

std::string ExchangeRecord::text() const {
    std::string text;
    switch (static_cast<SMCCommand>(request.data8)) {
    case SMCCommand::readKeyInfo:
        text = "info " + key();
        break;
    case SMCCommand::readBytes:
        text = "read " + key();
        break;
    case SMCCommand::writeBytes:
        text = "write " + key() + " ";
        for (std::size_t i = 0; i < std::min<std::size_t>(request.keyInfo.dataSize, sizeof request.bytes); ++i)
            text += hexByte(request.bytes[i]);
        break;
    }
    if (!reply)
        return text + " -> failed";
    if (reply->result != 0)
        return text + " -> 0x" + hexByte(reply->result);
    return text;
}

SimulatedController::SimulatedController(std::function<double()> now) : now_(std::move(now)) {}

void SimulatedController::define(std::string_view name, std::uint32_t type, std::uint32_t size,
                                 std::span<const std::uint8_t> bytes) {
    SimulatedKey key{type, size, readable | writable, {}};
    std::copy_n(bytes.begin(), std::min(bytes.size(), key.bytes.size()), key.bytes.begin());
    keys_[codeOf(name)] = key;
}

void SimulatedController::defineNumber(std::string_view name, std::uint32_t type, double value) {
    const std::uint32_t size = type == smc_type::flt ? 4 : type == smc_type::ui8 ? 1 : 2;
    define(name, type, size);
    setNumber(name, value);
}

void SimulatedController::remove(std::string_view name) { keys_.erase(codeOf(name)); }

bool SimulatedController::has(std::string_view name) const { return keys_.contains(codeOf(name)); }

SimulatedKey& SimulatedController::key(std::string_view name) { return keys_.at(codeOf(name)); }

const SimulatedKey& SimulatedController::key(std::string_view name) const { return keys_.at(codeOf(name)); }

double SimulatedController::number(std::string_view name) const {
    const auto& [type, size, attributes, bytes] = key(name);
    switch (type) {
    case smc_type::flt: {
        float value = 0;
        std::memcpy(&value, bytes.data(), sizeof value);
        return static_cast<double>(value);
    }
    case smc_type::ui8:
        return bytes[0];
    case smc_type::ui16:
        return bytes[0] << 8 | bytes[1];
    case smc_type::fpe2:
        return (bytes[0] << 8 | bytes[1]) / 4.0;
    default:
        throw std::invalid_argument(std::string(name) + " does not hold a number");
    }
}

void SimulatedController::setNumber(std::string_view name, double value) {
    auto& [type, size, attributes, bytes] = key(name);
    switch (type) {
    case smc_type::flt: {
        const auto narrowed = static_cast<float>(value);
        std::memcpy(bytes.data(), &narrowed, sizeof narrowed);
        break;
    }
    case smc_type::ui8:
        bytes[0] = static_cast<std::uint8_t>(wholeNumber(value, 255));
        break;
    case smc_type::ui16:
        storeBigEndian16(bytes.data(), value);
        break;
    case smc_type::fpe2:
        storeBigEndian16(bytes.data(), value * 4);
        break;
    default:
        throw std::invalid_argument(std::string(name) + " does not hold a number");
    }
    followUnlockSwitch(codeOf(name));
}

std::vector<std::string> SimulatedController::names() const {
    std::vector<std::string> names;
    for (const auto& [code, key] : keys_)
        names.push_back(nameOf(code));
    return names;
}

std::optional<SMCKeyData> SimulatedController::exchange(const SMCKeyData& request, bool callerIsRoot) {
    const bool isWrite = request.data8 == static_cast<std::uint8_t>(SMCCommand::writeBytes);
    std::optional<SMCKeyData> reply;
    if (!failsNow() && (callerIsRoot || !isWrite))
        reply = perform(request);
    log_.push_back({now_(), request, reply});
    if (log_.size() > logCapacity)
        log_.pop_front();
    return reply;
}

bool SimulatedController::failsNow() { return failing_.erase(++exchanges_) > 0; }

SMCKeyData SimulatedController::perform(const SMCKeyData& request) {
    SMCKeyData reply{};
    reply.key = request.key;
    if (const auto result = faultFor(request)) {
        reply.result = *result;
        return reply;
    }
    const auto found = keys_.find(request.key);
    if (found == keys_.end()) {
        reply.result = keyNotFound;
        return reply;
    }
    switch (static_cast<SMCCommand>(request.data8)) {
    case SMCCommand::readKeyInfo:
        readKeyInfo(found->second, reply);
        break;
    case SMCCommand::readBytes:
        readBytes(request, found->second, reply);
        break;
    case SMCCommand::writeBytes:
        writeBytes(request, found->second, reply);
        break;
    default:
        reply.result = badCommand;
    }
    return reply;
}

std::optional<std::uint8_t> SimulatedController::faultFor(const SMCKeyData& request) const {
    for (const auto& [key, command, result] : answers_)
        if ((!key || *key == request.key) && (!command || static_cast<std::uint8_t>(*command) == request.data8))
            return result;
    return std::nullopt;
}

std::uint32_t SimulatedController::announcedSize(std::uint32_t code, const SimulatedKey& key) const {
    const auto lie = lies_.find(code);
    return lie == lies_.end() ? key.size : lie->second.size.value_or(key.size);
}

void SimulatedController::readKeyInfo(const SimulatedKey& key, SMCKeyData& reply) const {
    reply.keyInfo.dataSize = announcedSize(reply.key, key);
    reply.keyInfo.dataType = key.type;
    reply.keyInfo.dataAttributes = key.attributes;
    const auto lie = lies_.find(reply.key);
    if (lie != lies_.end())
        reply.keyInfo.dataType = lie->second.type.value_or(key.type);
}

void SimulatedController::readBytes(const SMCKeyData& request, const SimulatedKey& key, SMCKeyData& reply) const {
    if ((key.attributes & readable) == 0)
        reply.result = notReadable;
    else if (request.keyInfo.dataSize != announcedSize(request.key, key))
        reply.result = sizeMismatch;
    else
        std::copy(key.bytes.begin(), key.bytes.end(), reply.bytes);
}

void SimulatedController::writeBytes(const SMCKeyData& request, SimulatedKey& key, SMCKeyData& reply) {
    // To write a key of size 0, clients send one byte, which is not stored.
    const auto size = std::max<std::uint32_t>(announcedSize(request.key, key), 1);
    if ((key.attributes & writable) == 0) {
        reply.result = notWritable;
        return;
    }
    if (request.keyInfo.dataSize != size) {
        reply.result = sizeMismatch;
        return;
    }
    if (isModeKey(request.key) && request.bytes[0] != 0 && !grantsManualMode()) {
        reply.result = modeRefused;
        return;
    }
    std::copy_n(request.bytes, std::min<std::size_t>(key.size, key.bytes.size()), key.bytes.begin());
    followUnlockSwitch(request.key);
}

/// Records the time at which the unlock switch is turned on. Ignores other keys.
void SimulatedController::followUnlockSwitch(std::uint32_t changed) {
    if (changed != smcCode("Ftst"))
        return;
    if (keys_.at(changed).bytes[0] == 0)
        unlockedSince_.reset();
    else if (!unlockedSince_)
        unlockedSince_ = now_();
}

bool SimulatedController::grantsManualMode() const {
    if (!unlockRule_.isRequired)
        return true;
    return unlockedSince_ && now_() - *unlockedSince_ >= unlockRule_.grantDelay;
}

void SimulatedController::failExchange(int n) { failing_.insert(exchanges_ + n); }

void SimulatedController::answer(std::optional<std::string> key, std::optional<SMCCommand> command,
                                 std::uint8_t result) {
    answers_.push_back({key ? std::optional(codeOf(*key)) : std::nullopt, command, result});
}

void SimulatedController::reportSize(std::string_view key, std::uint32_t size) { lies_[codeOf(key)].size = size; }

void SimulatedController::reportType(std::string_view key, std::uint32_t type) { lies_[codeOf(key)].type = type; }

void SimulatedController::clearFaults() {
    failing_.clear();
    answers_.clear();
    lies_.clear();
}

std::vector<std::string> SimulatedController::texts(std::optional<SMCCommand> command) const {
    std::vector<std::string> texts;
    for (const auto& record : log_)
        if (!command || record.request.data8 == static_cast<std::uint8_t>(*command))
            texts.push_back(record.text());
    return texts;
}

} // namespace kelo
