#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "prove/daemon/Tape.h"
#include "simulator/model/SimulatedExchange.h"

namespace kelo {

/// What goes wrong with an exchange.
struct ExchangeFault {
    enum class Kind {
        fails,          ///< At the platform's level.
        keyInfoRefused, ///< Meets key-info exchanges only.
        resultByte,     ///< Meets reads and writes only.
        late,           ///< Succeeds, after `lateness`.
    };
    enum class Reach {
        once,
        fromThenOn,
        fromThenOnForKey, ///< Every exchange about the same key as the first.
    };
    static constexpr double lateness = 5.0;          // seconds; longer than the unlock switch is tried
    static constexpr std::uint8_t resultByte = 0x99; // one that no simulated controller gives by itself

    Kind kind;
    Reach reach;
    int from; ///< Number of the exchange, counted from 0, at which it begins.
};

/// Exchanges with a simulated controller that are counted, recorded, and made to go wrong.
class FaultyExchange : public SimulatedExchange {
public:
    /// All are borrowed.
    FaultyExchange(SimulatedController& controller, double& now, Tape& tape)
        : SimulatedExchange(controller), now_(now), tape_(tape) {}

    bool exchange(std::uint32_t connection, const SMCKeyData& request, SMCKeyData& reply) noexcept override;

    void inject(const ExchangeFault& fault) { fault_ = fault; }
    void injectNothing() { fault_.reset(); }
    /// How many exchanges there have been.
    int count() const { return count_; }

    double duration = 0; ///< Seconds that each takes.
    /// Nothing needs so many: a daemon that does never ends, and this process is aborted.
    int limit = 100'000;

private:
    std::optional<ExchangeFault::Kind> faultFor(int number, const SMCKeyData& request);

    double& now_;
    Tape& tape_;
    std::optional<ExchangeFault> fault_;
    std::uint32_t faultyKey_ = 0;
    int count_ = 0;
};

} // namespace kelo
