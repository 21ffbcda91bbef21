#include "platform/posix/GuardedHelper.h"

#include <new>
#include <type_traits>

#include "platform/posix/Containment.h"
#include "platform/posix/OneReply.h"

namespace kelo {
namespace {

constexpr const char* internalError = "The helper could not carry out the request because of an internal error.";

/// The answer that the client receives if the service does not reply.
template <typename Answer>
Answer fallback() {
    if constexpr (std::is_same_v<Answer, std::optional<std::string>>)
        return internalError;
    else
        return {};
}

} // namespace

void GuardedHelper::perform(requests::AnyCall call) {
    std::visit(
        [this]<typename Request>(requests::Call<Request>& typed) {
            contain(Request::selector, [&] {
                using Answer = typename Request::Answer;
                try {
                    typed.reply = OneReply<Answer>::through(std::move(typed.reply), fallback<Answer>());
                } catch (const std::bad_alloc&) { // NOLINT(bugprone-empty-catch): a stand-down must also work unguarded
                }
                helper_->perform(std::move(typed));
            });
        },
        call);
}

} // namespace kelo
