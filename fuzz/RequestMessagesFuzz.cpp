// The input as a message that a client sends to the helper.

#include "fuzz/FuzzTarget.h"
#include "platform/linux/socket/RequestMessages.h"

namespace {

using kelo::mustHold;
namespace messages = kelo::request_messages;

/// Answers each request at once, with values that depend on it.
class Answers : public kelo::KeloHelperProtocol {
public:
    void fetchSnapshot(DataReply reply) override { reply(kelo::Data{1, 2, 3}); }
    void hold(double, bool handsBackOnLidClose, ErrorReply reply) override {
        reply(handsBackOnLidClose ? std::optional<std::string>("no") : std::nullopt);
    }
    void handBack(ErrorReply reply) override { reply(std::nullopt); }
    void helperVersion(VersionReply reply) override { reply(6); }
    void standDown(EmptyReply reply) override { reply(); }
};

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const auto request = messages::decode({data, data + size});
    if (!request)
        return 0;
    Answers answers;
    int replies = 0;
    messages::perform(*request, answers, [&](const auto& reply) {
        ++replies;
        mustHold(messages::decodeReply(reply, request->number, request->signature->request).has_value(),
                 "the reply to a request is one");
    });
    mustHold(replies == 1, "a request has one reply");
    return 0;
}
