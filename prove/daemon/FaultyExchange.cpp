#include "prove/daemon/FaultyExchange.h"

#include <cstdio>
#include <cstdlib>

#include "testing/CodeOf.h"

namespace kelo {
namespace {

bool isMet(ExchangeFault::Kind kind, const SMCKeyData& request) {
    const bool isKeyInfo = request.data8 == static_cast<std::uint8_t>(SMCCommand::readKeyInfo);
    switch (kind) {
    case ExchangeFault::Kind::keyInfoRefused:
        return isKeyInfo;
    case ExchangeFault::Kind::resultByte:
        return !isKeyInfo;
    default:
        return true;
    }
}

} // namespace

bool FaultyExchange::exchange(std::uint32_t connection, const SMCKeyData& request, SMCKeyData& reply) noexcept {
    const CodeOf test(CodeOf::Owner::test);
    if (count_ >= limit) {
        std::fputs("prove: the daemon does not stop exchanging\n", stderr);
        std::abort();
    }
    const auto fault = faultFor(count_++, request);
    bool isDone = false;
    if (!fault || fault == ExchangeFault::Kind::late) {
        isDone = SimulatedExchange::exchange(connection, request, reply);
    } else if (fault != ExchangeFault::Kind::fails) {
        reply.result = ExchangeFault::resultByte;
        isDone = true;
    }
    now_ += fault == ExchangeFault::Kind::late ? ExchangeFault::lateness : duration;
    tape_.add({now_,
               {},
               {now_, request, isDone ? std::optional(reply) : std::nullopt},
               fault && fault != ExchangeFault::Kind::late});
    return isDone;
}

std::optional<ExchangeFault::Kind> FaultyExchange::faultFor(int number, const SMCKeyData& request) {
    if (!fault_ || number < fault_->from)
        return std::nullopt;
    if (number == fault_->from)
        faultyKey_ = request.key;
    const bool isInReach = number == fault_->from || fault_->reach == ExchangeFault::Reach::fromThenOn ||
                           (fault_->reach == ExchangeFault::Reach::fromThenOnForKey && request.key == faultyKey_);
    return isInReach && isMet(fault_->kind, request) ? std::optional(fault_->kind) : std::nullopt;
}

} // namespace kelo
