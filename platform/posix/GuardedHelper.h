#pragma once

#include <memory>
#include <utility>

#include "protocol/KeloHelperProtocol.h"

namespace kelo {

/// Wraps the helper's service for one connection.
///
/// Sends exactly one reply to each request, even if the service throws, replies twice or drops the reply. Replaces a
/// missing reply with nullopt, 0 or an error message. Never throws. Any thread.
class GuardedHelper : public KeloHelperProtocol {
public:
    explicit GuardedHelper(std::shared_ptr<KeloHelperProtocol> helper) : helper_(std::move(helper)) {}

    void perform(requests::AnyCall call) override;

private:
    const std::shared_ptr<KeloHelperProtocol> helper_;
};

} // namespace kelo
