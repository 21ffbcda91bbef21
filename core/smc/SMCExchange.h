#pragma once

#include <cstdint>

#include "core/smc/SMCKeyData.h"

namespace kelo {

/// The way to the System Management Controller: open a connection, exchange records over it, close it.
///
/// The only point at which the key client leaves the process. Used from one thread at a time; calls block until the
/// controller has answered.
class SMCExchange {
public:
    SMCExchange() = default;
    SMCExchange(const SMCExchange&) = delete;
    SMCExchange& operator=(const SMCExchange&) = delete;
    virtual ~SMCExchange() = default;

    /// Opens a connection. Returns its handle, or 0 when there is no controller or it cannot be opened.
    [[nodiscard]] virtual std::uint32_t open() = 0;

    /// Sends `request` and fills `reply`, which the caller has zero-filled, with the controller's answer.
    ///
    /// Returns false when the exchange itself failed: a handle that is not open (0 never is), a transport error. The
    /// controller's verdict on the request is in `reply.result`. After a failure the content of `reply` is undefined.
    [[nodiscard]] virtual bool exchange(std::uint32_t connection, const SMCKeyData& request,
                                        SMCKeyData& reply) noexcept = 0;

    /// Closes a connection that `open` returned.
    virtual void close(std::uint32_t connection) noexcept = 0;
};

} // namespace kelo
