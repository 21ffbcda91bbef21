#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <type_traits>

#include "core/hold/Clamshell.h"
#include "core/smc/SMCKeyData.h"

namespace kelo {

/// The protocol between the helper and the simulated Mac: two Unix sockets (SOCK_SEQPACKET) in the Mac's folder. Each
/// message is one record of fixed size in native byte order, so that the helper parses nothing.
///
///     socket            the helper sends          the Mac sends
///     hardware.socket   SMCKeyData, 80 bytes      SMCKeyData with the same key and command (data8)
///                                                 or 1 byte of any value: the exchange failed at the platform's level
///                       1 byte of any value       LidRecord, 16 bytes
///     power.socket      nothing, it connects      PowerRecord, 16 bytes: `registered`
///                                                 PowerRecord for each power event
///                       the event's ID, 8 bytes   nothing: the ID allows the power change
namespace mac_wire {

inline constexpr const char* hardwareSocket = "hardware.socket";
inline constexpr const char* powerSocket = "power.socket";

/// The bytes that are sent where the protocol allows any value.
inline constexpr std::uint8_t lidQuestion = 0;
inline constexpr std::uint8_t failedExchange = 0;

enum class LidState : std::uint64_t { absent, boolean, number, unconvertible };
struct LidRecord {
    LidState state;
    double number; ///< The number, or 0 or 1 for a boolean; otherwise 0.
};

enum class PowerEvent : std::uint64_t { registered, canSleep, willSleep, willPowerOn, hasPoweredOn };
struct PowerRecord {
    PowerEvent event;
    std::int64_t notificationID; ///< For `registered`: 1 if the Mac is asleep, otherwise 0.
};

static_assert(sizeof(LidRecord) == 16 && sizeof(PowerRecord) == 16);

LidRecord encode(const ClamshellProperty& lid);
/// Returns nullopt for an unknown state.
std::optional<ClamshellProperty> decode(const LidRecord& record);

template <typename Record>
auto bytesOf(Record& record) {
    static_assert(std::is_trivially_copyable_v<Record>);
    using Byte = std::conditional_t<std::is_const_v<Record>, const std::uint8_t, std::uint8_t>;
    return std::span<Byte>(reinterpret_cast<Byte*>(&record), sizeof record);
}

} // namespace mac_wire
} // namespace kelo
