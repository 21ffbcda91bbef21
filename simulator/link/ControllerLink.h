#pragma once

#include <array>
#include <memory>
#include <optional>
#include <span>
#include <utility>

#include "core/smc/SMCKeyData.h"
#include "simulator/link/MacConnection.h"

namespace kelo {

/// A record as it goes over the link.
inline std::span<const std::uint8_t> bytesOf(const SMCKeyData& record) {
    return {reinterpret_cast<const std::uint8_t*>(&record), sizeof record};
}
inline std::span<std::uint8_t> bytesOf(SMCKeyData& record) {
    return {reinterpret_cast<std::uint8_t*>(&record), sizeof record};
}

/// A connection to the simulated Mac's controller, over which records go as they are:
///
///     request   80 bytes, the record
///     answer    80 bytes, the record; or a single one, of any value: the exchange failed at the platform's level
///
/// One thread.
class ControllerLink {
public:
    /// The controller's socket in the simulated Mac's folder.
    static constexpr const char* socketName = "controller.socket";
    /// The answer to an exchange that failed.
    static constexpr std::array<std::uint8_t, 1> failedExchange{};

    /// Null when no simulated Mac runs in `folder`, an open descriptor. Throws as `MacConnection::connect`.
    static std::unique_ptr<ControllerLink> connect(int folder,
                                                   std::chrono::milliseconds timeout = MacConnection::defaultTimeout);

    /// How long an exchange waits for its answer.
    void setTimeout(std::chrono::milliseconds limit) { connection_.setTimeout(limit); }

    /// None when the exchange failed at the platform's level. Throws `MacHasGone`, `MacHangs`, or `CallFailed` when the
    /// Mac answers something else: every later call throws `MacHasGone` then.
    std::optional<SMCKeyData> call(const SMCKeyData& request);

private:
    explicit ControllerLink(MacConnection connection) : connection_(std::move(connection)) {}

    MacConnection connection_;
};

} // namespace kelo
