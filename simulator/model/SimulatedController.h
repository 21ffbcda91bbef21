#pragma once

#include <array>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <optional>
#include <set>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "core/smc/SMCKeyData.h"

namespace kelo {

/// A key of the simulated controller.
struct SimulatedKey {
    std::uint32_t type = 0;
    std::uint32_t size = 0;
    std::uint8_t attributes = 0;
    std::array<std::uint8_t, 32> bytes{};
};

/// One logged exchange.
struct ExchangeRecord {
    double time; ///< Seconds on the controller's clock.
    SMCKeyData request;
    std::optional<SMCKeyData> reply; ///< nullopt if the exchange failed.

    std::string key() const;
    /// Returns the exchange as text: "info F0Md", "read F0Md" or "write F0Md 01", followed by " -> failed" or a result
    /// such as " -> 0x84" on failure.
    std::string text() const;
};

/// The System Management Controller of a simulated Mac: typed keys that are read and written with 80-byte records, an
/// unlock switch that guards the fans' manual mode, a log of every exchange, and faults.
///
/// It is as strict as a real controller: a read or write must announce the key's size, and an unknown key is answered
/// with 0x84. Not thread-safe.
class SimulatedController {
public:
    static constexpr std::uint8_t keyNotFound = 0x84;
    static constexpr std::uint8_t notReadable = 0x85;
    static constexpr std::uint8_t notWritable = 0x86;
    static constexpr std::uint8_t sizeMismatch = 0x87;
    static constexpr std::uint8_t badCommand = 0x82;
    /// The result of writing a fan's mode while manual mode is locked.
    static constexpr std::uint8_t modeRefused = 0x82;

    static constexpr std::uint8_t readable = 0x80;
    static constexpr std::uint8_t writable = 0x40;

    /// The rule by which a controller guards manual mode.
    struct UnlockRule {
        bool isRequired = false; ///< Manual mode is refused unless "Ftst" is on.
        double grantDelay = 0;   ///< The seconds for which "Ftst" must have been on.
    };

    /// `now` returns seconds. It is the clock of the unlock delay and of the log.
    explicit SimulatedController(std::function<double()> now = [] { return 0.0; });

    // The keys. Each name has four characters.
    void define(std::string_view name, std::uint32_t type, std::uint32_t size,
                std::span<const std::uint8_t> bytes = {});
    /// Defines a key of a number type with that type's size and `value`.
    void defineNumber(std::string_view name, std::uint32_t type, double value);
    void remove(std::string_view name);
    bool has(std::string_view name) const;
    /// The key itself, for tests that inspect it or change it without a write. The key must exist.
    SimulatedKey& key(std::string_view name);
    const SimulatedKey& key(std::string_view name) const;
    /// Read and set a key's number in the encoding of the key's type, including the fraction bits of "fpe2". Integer
    /// types store the nearest integer in their range, and 0 for NaN. The key must exist and have a number type.
    /// Setting the unlock switch has the same effect as writing it.
    double number(std::string_view name) const;
    void setNumber(std::string_view name, double value);
    std::vector<std::string> names() const;

    void setUnlockRule(UnlockRule rule) { unlockRule_ = rule; }

    /// Performs one exchange. Returns nullopt if it fails without a reply, as every write by a non-root caller does.
    std::optional<SMCKeyData> exchange(const SMCKeyData& request, bool callerIsRoot = true);

    // Faults. Each lasts until `clearFaults`, except for `failExchange`, which affects one exchange.
    /// Makes the `n`-th exchange from now fail without a reply (1 is the next).
    void failExchange(int n);
    /// Answers exchanges with `result` instead of performing them. Affects only exchanges that match `key` and
    /// `command`, if given.
    void answer(std::optional<std::string> key, std::optional<SMCCommand> command, std::uint8_t result);
    /// Make the key-info command report a wrong size or type.
    void reportSize(std::string_view key, std::uint32_t size);
    void reportType(std::string_view key, std::uint32_t type);
    void clearFaults();

    // The log: the newest records, up to `logCapacity`.
    static constexpr std::size_t logCapacity = 100'000;
    const std::deque<ExchangeRecord>& log() const { return log_; }
    /// The texts of all logged exchanges, or only of those with `command`.
    std::vector<std::string> texts(std::optional<SMCCommand> command = std::nullopt) const;
    void clearLog() { log_.clear(); }

private:
    struct Answer {
        std::optional<std::uint32_t> key;
        std::optional<SMCCommand> command;
        std::uint8_t result;
    };
    struct Lie {
        std::optional<std::uint32_t> size;
        std::optional<std::uint32_t> type;
    };

    bool failsNow();
    SMCKeyData perform(const SMCKeyData& request);
    std::optional<std::uint8_t> faultFor(const SMCKeyData& request) const;
    void readKeyInfo(const SimulatedKey& key, SMCKeyData& reply) const;
    void readBytes(const SMCKeyData& request, const SimulatedKey& key, SMCKeyData& reply) const;
    void writeBytes(const SMCKeyData& request, SimulatedKey& key, SMCKeyData& reply);
    void followUnlockSwitch(std::uint32_t changed);
    bool grantsManualMode() const;
    std::uint32_t announcedSize(std::uint32_t code, const SimulatedKey& key) const;

    std::function<double()> now_;
    std::map<std::uint32_t, SimulatedKey> keys_;
    UnlockRule unlockRule_;
    std::optional<double> unlockedSince_;
    std::set<std::int64_t> failing_; ///< Numbers of the exchanges that fail.
    std::int64_t exchanges_ = 0;
    std::vector<Answer> answers_;
    std::map<std::uint32_t, Lie> lies_;
    std::deque<ExchangeRecord> log_;
};

} // namespace kelo
