#pragma once

#include <memory>
#include <utility>

#include "protocol/KeloHelperProtocol.h"

namespace kelo {

/// Stands between one connection and the helper's service.
///
/// Each request is replied to exactly once, also when the service throws, replies twice or drops the reply: the reply
/// is then none, 0, or an error text. Throws nothing. Any thread.
class GuardedHelper : public KeloHelperProtocol {
public:
    explicit GuardedHelper(std::shared_ptr<KeloHelperProtocol> helper) : helper_(std::move(helper)) {}

    void perform(requests::AnyCall call) override;

private:
    const std::shared_ptr<KeloHelperProtocol> helper_;
};

} // namespace kelo
