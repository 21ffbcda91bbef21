#pragma once

#include <memory>

#include "protocol/KeloHelperProtocol.h"

namespace kelo {

/// Stands between a transport and the helper's service: each request is replied to exactly once, also when the service
/// throws, replies twice or lets the reply go: with none, 0, or an error text. Throws nothing. Any thread.
class OneReplyHelper : public KeloHelperProtocol {
public:
    explicit OneReplyHelper(std::shared_ptr<KeloHelperProtocol> helper) : helper_(std::move(helper)) {}

    void fetchSnapshot(DataReply reply) override;
    void hold(double fraction, bool handsBackOnLidClose, ErrorReply reply) override;
    void handBack(ErrorReply reply) override;
    void helperVersion(VersionReply reply) override;
    void standDown(EmptyReply reply) override;

private:
    const std::shared_ptr<KeloHelperProtocol> helper_;
};

} // namespace kelo
