#include "platform/posix/GuardedHelper.h"

#include "platform/posix/Containment.h"
#include "platform/posix/OneReply.h"

namespace kelo {
namespace {

using Text = std::optional<std::string>;

constexpr const char* brokenHelper = "The helper could not carry out the request because of an internal error.";
constexpr const char* tooManyHolds = "Too many holds are waiting already; ask again when they have been answered.";

} // namespace

/// When the last copy of the reply goes unanswered, `fallback` is the answer.
template <typename... Values>
Reply<Values...> GuardedHelper::guarded(Reply<Values...> reply, Values... fallback) const {
    return {OneReply<Values...>::through(std::move(reply), std::move(fallback)...),
            [isConnected = isConnected_] { return isConnected->load(); }};
}

void GuardedHelper::fetchSnapshot(DataReply reply) {
    contain("fetchSnapshot",
            [&] { helper_->fetchSnapshot(guarded<std::optional<Data>>(std::move(reply), std::nullopt)); });
}

void GuardedHelper::hold(double fraction, bool handsBackOnLidClose, ErrorReply reply) {
    contain("hold", [&] {
        if (++*holds_ > maximumHolds) {
            --*holds_;
            return reply(tooManyHolds);
        }
        const auto counted = [reply = std::move(reply), holds = holds_](Text error) {
            --*holds; // first: the client may ask again as soon as it has the answer
            reply(std::move(error));
        };
        helper_->hold(fraction, handsBackOnLidClose, guarded<Text>(ErrorReply(counted), brokenHelper));
    });
}

void GuardedHelper::handBack(ErrorReply reply) {
    contain("handBack", [&] { helper_->handBack(guarded<Text>(std::move(reply), brokenHelper)); });
}

void GuardedHelper::helperVersion(VersionReply reply) {
    contain("helperVersion", [&] { helper_->helperVersion(guarded<std::int64_t>(std::move(reply), 0)); });
}

void GuardedHelper::standDown(EmptyReply reply) {
    contain("standDown", [&] { helper_->standDown(guarded<>(std::move(reply))); });
}

} // namespace kelo
