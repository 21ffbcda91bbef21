#pragma once

#include <functional>
#include <memory>
#include <optional>

#include "client/Surroundings.h"
#include "client/Terminal.h"

namespace kelo {

/// Thrown if the helper did not answer before the timeout.
class HelperSilent : public HelperUnreachable {
public:
    using HelperUnreachable::HelperUnreachable;
};

/// A connection with callbacks and a timeout, for a helper that might not answer. Runs each request on a separate
/// thread. Connects at the first request. After a request has thrown `HelperUnreachable`, the next request reconnects.
class PatientConnection : public HelperConnection {
public:
    struct Patience {
        double limit = 60;         ///< Seconds until a request throws `HelperSilent`; taking ten fans may last 40 s.
        double limitAfterStop = 5; ///< Seconds from the user's request to stop until `HelperSilent`.
        std::function<void()> onSilence = [] {}; ///< Called once for a request that has waited for 2 seconds.
        /// Called every second after `onSilence`, and each time the screen has been resized.
        std::function<void()> onChange = [] {};
    };

    PatientConnection(Connect connect, Terminal& terminal, Patience patience);

    void perform(const requests::AnyCall& call) override;

private:
    struct Shared {
        std::unique_ptr<HelperConnection> helper; ///< Used by one thread at a time.
    };

    template <typename Request>
    typename Request::Answer answerTo(const Request& request);
    void await(int answer);

    const Connect connect_;
    Terminal& terminal_;
    const Patience patience_;
    std::optional<double> stoppedAt_;
    /// The connection, shared with the thread of the request. A request that has timed out keeps its connection, and
    /// the next request creates a new one.
    std::shared_ptr<Shared> shared_ = std::make_shared<Shared>();
};

} // namespace kelo
