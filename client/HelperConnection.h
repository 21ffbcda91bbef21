#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>

#include "protocol/KeloHelperProtocol.h"

namespace kelo {

/// The helper is not reachable, refused the connection, or ended it before it replied. `what()` is one clear sentence.
class HelperUnreachable : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// A client's connection to the helper: the five requests, each waiting for its reply.
///
/// Used from one thread. Every request throws `HelperUnreachable` when the connection is gone. The helper counts the
/// connection as one client until this object is destroyed or the process ends.
class HelperConnection {
public:
    HelperConnection() = default;
    HelperConnection(const HelperConnection&) = delete;
    HelperConnection& operator=(const HelperConnection&) = delete;
    virtual ~HelperConnection() = default;

    virtual std::optional<Data> fetchSnapshot() = 0;
    virtual std::optional<std::string> hold(double fraction, bool handsBackOnLidClose) = 0;
    virtual std::optional<std::string> handBack() = 0;
    virtual std::int64_t helperVersion() = 0;
    virtual void standDown() = 0;
};

/// Connects to the helper of this machine. Throws `HelperUnreachable`; a connection that the helper refuses may show
/// only at the first request.
std::unique_ptr<HelperConnection> connectToHelper();

} // namespace kelo
