#pragma once

#include <functional>
#include <string>
#include <utility>

#include "core/smc/SMCExchange.h"
#include "core/smc/smc.h"
#include "simulator/model/SimulatedController.h"
#include "testing/CodeOf.h"

namespace kelo {

/// Lets the test act between two exchanges, as other programs or the hardware would. Installed while this object
/// exists.
class InterposedExchange : public SMCExchange {
public:
    /// `real` is borrowed.
    explicit InterposedExchange(SMCExchange& real) : real_(real) { smc_set_exchange(this); }
    ~InterposedExchange() override { smc_set_exchange(&real_); }

    /// Calls `action` once, right after the next exchange with this text: "read Tp09", "write Ftst 01".
    void afterNext(std::string text, std::function<void()> action) {
        awaited_ = std::move(text);
        action_ = std::move(action);
    }

    [[nodiscard]] std::uint32_t open() override { return real_.open(); }
    [[nodiscard]] bool exchange(std::uint32_t connection, const SMCKeyData& request,
                                SMCKeyData& reply) noexcept override {
        const CodeOf test(CodeOf::Owner::test);
        const bool isDone = real_.exchange(connection, request, reply);
        if (action_ && isDone && ExchangeRecord{0, request, reply}.text() == awaited_)
            std::exchange(action_, nullptr)();
        return isDone;
    }
    void close(std::uint32_t connection) noexcept override { real_.close(connection); }

private:
    SMCExchange& real_;
    std::string awaited_;
    std::function<void()> action_;
};

} // namespace kelo
