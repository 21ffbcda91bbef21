#pragma once

#include <atomic>
#include <memory>
#include <utility>

#include "protocol/KeloHelperProtocol.h"

namespace kelo {

/// Stands between one connection and the helper's service.
///
/// Each request is replied to exactly once, also when the service throws, replies twice or drops the reply: the reply
/// is then none, 0, or an error text. A client that asks for many holds at once is refused all but the first few, since
/// each may keep the main thread for seconds. Throws nothing. Any thread.
class GuardedHelper : public KeloHelperProtocol {
public:
    /// Holds that may wait for their reply at the same time.
    static constexpr int maximumHolds = 4;

    explicit GuardedHelper(std::shared_ptr<KeloHelperProtocol> helper) : helper_(std::move(helper)) {}

    /// Tells the service that the client no longer waits for replies.
    void connectionEnded() { *isConnected_ = false; }

    void fetchSnapshot(DataReply reply) override;
    void hold(double fraction, bool handsBackOnLidClose, ErrorReply reply) override;
    void handBack(ErrorReply reply) override;
    void helperVersion(VersionReply reply) override;
    void standDown(EmptyReply reply) override;

private:
    // Shared with replies, which may outlive the connection.
    using Flag = std::shared_ptr<std::atomic<bool>>;
    using Count = std::shared_ptr<std::atomic<int>>;

    template <typename... Values>
    Reply<Values...> guarded(Reply<Values...> reply, Values... fallback) const;

    const std::shared_ptr<KeloHelperProtocol> helper_;
    const Flag isConnected_ = std::make_shared<std::atomic<bool>>(true);
    const Count holds_ = std::make_shared<std::atomic<int>>(0);
};

} // namespace kelo
