#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <span>
#include <string>
#include <variant>
#include <vector>

#include "core/hold/Clamshell.h"
#include "core/smc/SMCKeyData.h"

namespace kelo {

/// The calls that drive the simulated Mac, and the answers to them. Each type states its name on the wire. Its members
/// have the same names on the wire as here. `mac_wire` defines the messages between the helper and the Mac.
namespace hardware_calls {

// --- the answers

struct Done {
    static constexpr auto name = "done";
};

/// The answer to a call that was refused and has changed nothing.
struct Refused {
    static constexpr auto name = "refused";
    std::string sentence; ///< The reason.
};

struct FanState {
    int index = 0;
    std::optional<double> currentRPM; ///< Each value is nullopt if its key is missing.
    std::optional<double> minRPM;
    std::optional<double> maxRPM;
    std::optional<double> targetRPM;
    bool isManual = false;
};

/// A successful write to the controller.
struct Write {
    double time = 0; ///< Seconds since the Mac was started.
    std::string key;
    std::vector<std::uint8_t> bytes;
};

struct MacState {
    static constexpr auto name = "macState";
    std::vector<FanState> fans;
    std::map<std::string, double> temperatures; ///< Degrees Celsius by key.
    bool lidClosed = false;
    bool asleep = false;
    std::size_t powerClients = 0;
    double load = 0;
    double time = 0;           ///< Seconds since the Mac was started.
    std::vector<Write> writes; ///< The newest writes, in order.
};

struct SleepReport {
    static constexpr auto name = "sleepReport";
    double seconds = 0;         ///< From the announcement of sleep to its last acknowledgement.
    int acknowledged = 0;       ///< The number of clients that acknowledged sleep in time.
    int missing = 0;            ///< The number of clients that did not.
    std::vector<FanState> fans; ///< The fans' states when the last acknowledgement arrived.
};

using AnyAnswer = std::variant<Done, Refused, MacState, SleepReport>;

// --- the calls

struct Show {
    using Answer = MacState;
    static constexpr auto name = "show";
};

struct SetLid {
    using Answer = Done;
    static constexpr auto name = "setLid";
    ClamshellProperty state;
};

/// The answer arrives once the Mac is asleep, up to a minute later.
struct Sleep {
    using Answer = SleepReport;
    static constexpr auto name = "sleep";
    bool now = false; ///< Whether to skip asking the clients first.
};

struct Wake {
    using Answer = Done;
    static constexpr auto name = "wake";
};

struct SetLoad {
    using Answer = Done;
    static constexpr auto name = "setLoad";
    double load = 0; ///< 0...1.
};

/// Holds a key at a value; nullopt releases the key.
struct SetKey {
    using Answer = Done;
    static constexpr auto name = "setKey";
    std::string key;
    std::optional<double> value;
};

/// Sets a fan's speed; nullopt hands the fan back to the system.
struct Interfere {
    using Answer = Done;
    static constexpr auto name = "interfere";
    int fan = 0;
    std::optional<double> rpm;
};

// --- faults: each lasts until `ClearFaults` unless its comment says otherwise

/// Makes one exchange fail: the `n`-th from now (1 is the next).
struct FailExchange {
    using Answer = Done;
    static constexpr auto name = "failExchange";
    int n = 1;
};

/// Answers exchanges with `result` instead of performing them. Affects only exchanges that match `key` and `command`,
/// if given.
struct AnswerWith {
    using Answer = Done;
    static constexpr auto name = "answerWith";
    std::optional<std::string> key;
    std::optional<SMCCommand> command;
    std::uint8_t result = 0;
};

struct ReportSize {
    using Answer = Done;
    static constexpr auto name = "reportSize";
    std::string key;
    std::uint32_t size = 0;
};

struct ReportType {
    using Answer = Done;
    static constexpr auto name = "reportType";
    std::string key;
    std::string type; ///< Padded with blanks to four characters.
};

/// Removes a key permanently.
struct RemoveKey {
    using Answer = Done;
    static constexpr auto name = "removeKey";
    std::string key;
};

/// Delays the reply to every exchange.
struct AnswerSlowly {
    using Answer = Done;
    static constexpr auto name = "answerSlowly";
    double seconds = 0;
};

struct ClearFaults {
    using Answer = Done;
    static constexpr auto name = "clearFaults";
};

using AnyCall = std::variant<Show, SetLid, Sleep, Wake, SetLoad, SetKey, Interfere, FailExchange, AnswerWith,
                             ReportSize, ReportType, RemoveKey, AnswerSlowly, ClearFaults>;

// --- the wire

std::vector<std::uint8_t> encode(const AnyCall& call);
std::vector<std::uint8_t> encode(const AnyAnswer& answer);

/// Throw `std::invalid_argument`, whose text is a clause with the reason, for bytes that `encode` cannot produce. The
/// bytes must come from the Mac's owner, since their nesting depth is not limited.
AnyCall decodeCall(std::span<const std::uint8_t> bytes);
AnyAnswer decodeAnswer(std::span<const std::uint8_t> bytes);

/// Returns the state as JSON for users and scripts.
std::string toJSON(const MacState& state);

} // namespace hardware_calls
} // namespace kelo
