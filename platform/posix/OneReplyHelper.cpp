#include "platform/posix/OneReplyHelper.h"

#include <utility>

#include "platform/posix/Containment.h"
#include "platform/posix/OneReply.h"

namespace kelo {
namespace {

constexpr const char* brokenHelper = "The helper could not carry out the request because of an internal error.";

KeloHelperProtocol::ErrorReply once(KeloHelperProtocol::ErrorReply reply) {
    return OneReply<std::optional<std::string>>::through(std::move(reply), brokenHelper);
}

} // namespace

void OneReplyHelper::fetchSnapshot(DataReply reply) {
    contain("fetchSnapshot",
            [&] { helper_->fetchSnapshot(OneReply<std::optional<Data>>::through(std::move(reply), std::nullopt)); });
}

void OneReplyHelper::hold(double fraction, bool handsBackOnLidClose, ErrorReply reply) {
    contain("hold", [&] { helper_->hold(fraction, handsBackOnLidClose, once(std::move(reply))); });
}

void OneReplyHelper::handBack(ErrorReply reply) {
    contain("handBack", [&] { helper_->handBack(once(std::move(reply))); });
}

void OneReplyHelper::helperVersion(VersionReply reply) {
    contain("helperVersion", [&] { helper_->helperVersion(OneReply<std::int64_t>::through(std::move(reply), 0)); });
}

void OneReplyHelper::standDown(EmptyReply reply) {
    contain("standDown", [&] { helper_->standDown(OneReply<>::through(std::move(reply))); });
}

} // namespace kelo
