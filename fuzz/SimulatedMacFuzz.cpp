// The input as all that three programs say to one simulated Mac. Each piece is a byte for who speaks, two for the
// length of what is said, and that: a record for the controller if it is as long as one, a look at the lid if it is as
// long as that, and a call otherwise.

#include <algorithm>
#include <cstring>
#include <exception>
#include <memory>
#include <vector>

#include "fuzz/FuzzTarget.h"
#include "simulator/link/LidLink.h"
#include "simulator/server/CallHandlers.h"
#include "tests/support/VirtualQueue.h"

namespace {

using Bytes = std::vector<std::uint8_t>;
using kelo::mustHold;
namespace calls = kelo::hardware_calls;

constexpr std::size_t programs = 3;

void mustBeReadable(const calls::AnyAnswer& answer) {
    const auto bytes = calls::encode(answer);
    mustHold(calls::encode(calls::decodeAnswer(bytes)) == bytes, "whoever called can read the answer");
}

class Mac {
public:
    Mac() {
        for (std::size_t i = 0; i < programs; ++i)
            callers_.push_back({true, mustBeReadable});
    }

    /// Lets time pass, has a program leave and another come, or carries out its exchange or call.
    void hear(std::uint8_t speaker, const Bytes& bytes) {
        auto& caller = callers_[speaker % programs];
        if (speaker >= 0xE0)
            return queue_.runFor(speaker % 32 / 4.0);
        if (speaker >= 0xC0) {
            handlers_.forget(caller);
            caller.powerClient.reset();
            return;
        }
        if (SMCKeyData record; bytes.size() == sizeof record) {
            std::memcpy(&record, bytes.data(), sizeof record);
            handlers_.exchange(caller, record);
            return;
        }
        if (bytes.size() == kelo::LidLink::question.size())
            return mustHold(kelo::LidLink::decode(kelo::LidLink::encode(handlers_.lid())).has_value(),
                            "the lid can be seen");
        try {
            if (const auto answer = handlers_.perform(caller, calls::decodeCall(bytes)))
                mustBeReadable(*answer);
        } catch (const std::exception&) {
            // refused in so many words
        }
    }

private:
    double now_ = 0;
    kelo::VirtualQueue queue_{now_};
    kelo::CallHandlers handlers_{queue_, [this] { return now_; }, *kelo::Profile::named("laptop"), 1.0};
    std::vector<kelo::Caller> callers_;
};

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Mac mac;
    while (size >= 3) {
        const auto length = std::min(std::size_t{data[1]} << 8 | data[2], size - 3);
        mac.hear(data[0], {data + 3, data + 3 + length});
        data += 3 + length;
        size -= 3 + length;
    }
    return 0;
}
