#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <span>

#include "core/hold/Clamshell.h"
#include "core/smc/SMCExchange.h"
#include "platform/linux/hardware/MacTimeouts.h"
#include "platform/posix/FileDescriptor.h"

namespace kelo {

/// Accesses the controller and the lid of the simulated Mac over one connection.
///
/// Connects on demand, and reconnects if the Mac did not answer, exited or sent anything but the answer to the
/// question, for example a repeated earlier answer. So a Mac that hung or was restarted is used again. Until then, the
/// controller's handle stays valid and exchanges fail. A question may be sent twice, which is harmless for every key.
/// Single-threaded.
class SimulatedMacHardware : public SMCExchange, public Clamshell {
public:
    /// `folder` is an open descriptor, which the caller keeps open.
    explicit SimulatedMacHardware(int folder, const MacTimeouts& timeouts = {})
        : folder_(folder), timeouts_(timeouts) {}

    std::uint32_t open() override;
    bool exchange(std::uint32_t connection, const SMCKeyData& request, SMCKeyData& reply) noexcept override;
    void close(std::uint32_t connection) noexcept override;

    /// Returns an absent property if the Mac does not answer.
    ClamshellProperty clamshellState() override;

    /// Whether the Mac answered the last question.
    bool hasLink() const { return hasLink_; }

private:
    using Time = std::chrono::steady_clock::time_point;

    bool connect() noexcept;
    template <typename Check>
    std::size_t ask(std::span<const std::uint8_t> question, std::span<std::uint8_t> answer,
                    const Check& isAnswer) noexcept;
    std::optional<std::size_t> attempt(std::span<const std::uint8_t> question, std::span<std::uint8_t> answer) noexcept;
    bool isTreatedAsHung() const;

    const int folder_;
    const MacTimeouts timeouts_;
    FileDescriptor socket_;
    std::uint32_t handle_ = 0; ///< The last handle that `open` returned.
    bool isOpen_ = false;
    bool hasLink_ = false;
    std::optional<Time> hungUntil_;
};

} // namespace kelo
