#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <utility>

#include "core/hold/Clamshell.h"
#include "simulator/link/MacConnection.h"

namespace kelo {

/// A connection to the simulated Mac's lid, which is looked at on every tick of a hold and so needs no parser:
///
///     question   a byte, of any value
///     answer     9 bytes: which of the property's alternatives it is, and a number in the machine's order, the
///                property itself or 0 and 1 for a boolean
///
/// One thread.
class LidLink {
public:
    /// The lid's socket in the simulated Mac's folder.
    static constexpr const char* socketName = "lid.socket";
    static constexpr std::array<std::uint8_t, 1> question{};
    using Answer = std::array<std::uint8_t, 1 + sizeof(double)>;

    static Answer encode(const ClamshellProperty& lid);
    /// None for what is no answer.
    static std::optional<ClamshellProperty> decode(std::span<const std::uint8_t> answer);

    /// Null when no simulated Mac runs in `folder`, an open descriptor. Throws as `MacConnection::connect`.
    static std::unique_ptr<LidLink> connect(int folder,
                                            std::chrono::milliseconds timeout = MacConnection::defaultTimeout);

    /// How long a look waits for its answer.
    void setTimeout(std::chrono::milliseconds limit) { connection_.setTimeout(limit); }

    struct Look {};
    /// Throws `MacHasGone`, `MacHangs`, or `CallFailed` when the Mac answers something else: every later call throws
    /// `MacHasGone` then.
    ClamshellProperty call(const Look& look);

private:
    explicit LidLink(MacConnection connection) : connection_(std::move(connection)) {}

    MacConnection connection_;
};

} // namespace kelo
