#pragma once

#include <cstdint>

#include "core/smc/SMCKeyData.h"

namespace kelo {

/// A connection to the System Management Controller: opens it, exchanges records over it, and closes it.
///
/// This is the key client's only access to the system. It is used by one thread at a time. Each call blocks until the
/// controller has answered.
class SMCExchange {
public:
    SMCExchange() = default;
    SMCExchange(const SMCExchange&) = delete;
    SMCExchange& operator=(const SMCExchange&) = delete;
    virtual ~SMCExchange() = default;

    /// Opens a connection. Returns its handle, or 0 if there is no controller or the connection cannot be opened.
    [[nodiscard]] virtual std::uint32_t open() = 0;

    /// Sends `request` and fills `reply`, which the caller has zero-filled, with the controller's answer.
    ///
    /// Returns false if the exchange itself failed, because the handle is not open (handle 0 is never open) or because
    /// of a transport error; `reply` is then undefined. The controller's verdict on the request is in `reply.result`.
    [[nodiscard]] virtual bool exchange(std::uint32_t connection, const SMCKeyData& request,
                                        SMCKeyData& reply) noexcept = 0;

    /// Closes a connection that `open` returned.
    virtual void close(std::uint32_t connection) noexcept = 0;
};

} // namespace kelo
