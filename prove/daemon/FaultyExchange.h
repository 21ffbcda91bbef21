#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "prove/daemon/Tape.h"
#include "simulator/model/SimulatedExchange.h"

namespace kelo {

struct ExchangeFault {
    enum class Kind {
        fails,          ///< The exchange fails without a reply.
        keyInfoRefused, ///< Affects key-info exchanges only.
        resultByte,     ///< Affects reads and writes only.
        late,           ///< The exchange succeeds after `lateness`.
    };
    enum class Reach {
        once,
        fromThenOn,
        fromThenOnForKey, ///< Every later exchange with the key of the first affected one.
    };
    static constexpr double lateness = 5.0;          // seconds; exceeds the retry time of an unlock
    static constexpr std::uint8_t resultByte = 0x99; // the simulated controller never returns it otherwise

    Kind kind;
    Reach reach;
    int from; ///< Number of the first affected exchange, counted from 0.
};

/// Counts and records exchanges with a simulated controller and injects faults.
class FaultyExchange : public SimulatedExchange {
public:
    /// All arguments are borrowed.
    FaultyExchange(SimulatedController& controller, double& now, Tape& tape)
        : SimulatedExchange(controller), now_(now), tape_(tape) {}

    bool exchange(std::uint32_t connection, const SMCKeyData& request, SMCKeyData& reply) noexcept override;

    void inject(const ExchangeFault& fault) { fault_ = fault; }
    void injectNothing() { fault_.reset(); }
    int count() const { return count_; }

    double duration = 0; ///< Duration of each exchange, in seconds.
    /// The number of exchanges after which the process aborts, since the daemon must then be in an endless loop.
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
