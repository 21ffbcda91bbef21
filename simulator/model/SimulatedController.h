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

/// A key as the simulated controller keeps it.
struct SimulatedKey {
    std::uint32_t type = 0;
    std::uint32_t size = 0;
    std::uint8_t attributes = 0;
    std::array<std::uint8_t, 32> bytes{};
};

/// One exchange as the controller saw it.
struct ExchangeRecord {
    double time; ///< Seconds, by the controller's clock.
    SMCKeyData request;
    std::optional<SMCKeyData> reply; ///< None when the exchange failed at the platform's level.

    std::string key() const;
    /// "info F0Md", "read F0Md" or "write F0Md 01", followed by " -> failed" or " -> 0x84" when it did not succeed.
    std::string text() const;
};

/// The System Management Controller of a simulated Mac: typed keys behind the 80-byte exchange, fans' manual mode
/// behind the unlock switch, a log of every record both ways, and faults.
///
/// As strict as the real one: a read or write must announce the key's size, an unknown key answers 0x84. No thread of
/// its own; the owner serialises.
class SimulatedController {
public:
    static constexpr std::uint8_t keyNotFound = 0x84;
    static constexpr std::uint8_t notReadable = 0x85;
    static constexpr std::uint8_t notWritable = 0x86;
    static constexpr std::uint8_t sizeMismatch = 0x87;
    static constexpr std::uint8_t badCommand = 0x82;
    /// The result of a mode write while the controller manages cooling itself.
    static constexpr std::uint8_t modeRefused = 0x82;

    static constexpr std::uint8_t readable = 0x80;
    static constexpr std::uint8_t writable = 0x40;

    /// How a controller guards manual mode.
    struct UnlockRule {
        bool isRequired = false; ///< Manual mode is refused until "Ftst" is on.
        double grantDelay = 0;   ///< Seconds for which "Ftst" must have been on.
    };

    /// `now` returns seconds; it drives the unlock delay and stamps the log.
    explicit SimulatedController(std::function<double()> now = [] { return 0.0; });

    // The keys. A name has four characters.
    void define(std::string_view name, std::uint32_t type, std::uint32_t size,
                std::span<const std::uint8_t> bytes = {});
    /// Defines a key of one of the number types, of that type's natural size, holding `value`.
    void defineNumber(std::string_view name, std::uint32_t type, double value);
    void remove(std::string_view name);
    bool has(std::string_view name) const;
    /// The key itself, to look at or to change behind the controller's back. The key must exist.
    SimulatedKey& key(std::string_view name);
    const SimulatedKey& key(std::string_view name) const;
    /// Decodes or encodes by the key's type, the fraction bits of "fpe2" included. A type that holds whole numbers is
    /// given the nearest one in its range, and 0 for NaN. The key must exist and hold a number. A change of the unlock
    /// switch takes effect like a write.
    double number(std::string_view name) const;
    void setNumber(std::string_view name, double value);
    std::vector<std::string> names() const;

    void setUnlockRule(UnlockRule rule) { unlockRule_ = rule; }

    /// One exchange. None when it fails at the platform's level, as every write of a caller without root's rights does.
    std::optional<SMCKeyData> exchange(const SMCKeyData& request, bool callerIsRoot = true);

    // Faults. Each stays until `clearFaults`, but for `failExchange`, which is spent by its exchange.
    /// The `n`-th exchange from now (1 is the next) fails at the platform's level.
    void failExchange(int n);
    /// Answers exchanges with `result` instead of doing them: those on `key` if given, of `command` if given.
    void answer(std::optional<std::string> key, std::optional<SMCCommand> command, std::uint8_t result);
    /// Makes the key-info command lie.
    void reportSize(std::string_view key, std::uint32_t size);
    void reportType(std::string_view key, std::uint32_t type);
    void clearFaults();

    // The log: the newest records, up to `logCapacity`.
    static constexpr std::size_t logCapacity = 100'000;
    const std::deque<ExchangeRecord>& log() const { return log_; }
    /// The texts of the logged exchanges of `command`, or of all of them.
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
    std::set<std::int64_t> failing_; ///< Numbers of the exchanges that are to fail.
    std::int64_t exchanges_ = 0;
    std::vector<Answer> answers_;
    std::map<std::uint32_t, Lie> lies_;
    std::deque<ExchangeRecord> log_;
};

} // namespace kelo
