#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "protocol/Reply.h"

namespace kelo {

/// Bytes that are not text.
using Data = std::vector<std::uint8_t>;

/// The five requests that the helper serves, implemented by the one object that every connection exports.
///
/// Every request may be made from any thread and returns at once. Its reply is called exactly once, from any thread. A
/// failure is part of the reply; nothing is thrown.
class KeloHelperProtocol {
public:
    /// The JSON of a `FanSnapshot`, or none when no snapshot could be made.
    using DataReply = Reply<std::optional<Data>>;
    /// None for success, else an error text for the owner of the Mac.
    using ErrorReply = Reply<std::optional<std::string>>;
    using VersionReply = Reply<std::int64_t>;
    using EmptyReply = Reply<>;

    KeloHelperProtocol() = default;
    KeloHelperProtocol(const KeloHelperProtocol&) = delete;
    KeloHelperProtocol& operator=(const KeloHelperProtocol&) = delete;
    virtual ~KeloHelperProtocol() = default;

    virtual void fetchSnapshot(DataReply reply) = 0;

    /// Holds every fan at `fraction` of its speed range (clamped into 0...1), replacing any hold that runs.
    /// `handsBackOnLidClose`: hands the fans back while the lid is closed.
    virtual void hold(double fraction, bool handsBackOnLidClose, ErrorReply reply) = 0;

    /// Ends any hold and returns the fans to automatic control. Always replies none.
    virtual void handBack(ErrorReply reply) = 0;

    /// Replies `KeloHelper::interfaceVersion`. Never waits for the main thread.
    virtual void helperVersion(VersionReply reply) = 0;

    /// Replies at once; then hands the fan back and ends the helper.
    virtual void standDown(EmptyReply reply) = 0;
};

} // namespace kelo
