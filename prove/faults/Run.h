#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "prove/daemon/Daemon.h"
#include "testing/FailingMemory.h"

namespace kelo {

/// A Mac on which scenarios run.
struct Machine {
    enum class Unlock { noSwitch, notNeeded, needed };

    int fans;
    Unlock unlock;
    std::uint32_t speedType;

    std::string name() const;
};

/// One run of the daemon on one machine with at most one fault, and the promises that the daemon broke.
class Run {
public:
    explicit Run(const Machine& machine, std::optional<ExchangeFault> fault = std::nullopt,
                 std::optional<MemoryFault> memoryFault = std::nullopt);

    /// Starts counting the exchanges and allocations. The fault occurs at a given count.
    void beginFaults();
    /// Runs `action`, which makes the daemon take the fans. In a run without a fault, expects all fans to be manual
    /// afterwards.
    void expectTaken(const std::function<void()>& action);
    /// Runs `action`, which makes the daemon hand each fan back `times` times. Expects all writes of these hand-backs,
    /// except those that a fault prevented.
    void expectHandBack(int times, const std::function<void()>& action);
    /// Runs `hold`, which asks for a hold. Expects the daemon to hand the fans back if it refuses the hold.
    void expectHandBackIfRefused(const std::function<void()>& hold);
    /// Like `expectHandBack`, but for a request that may be refused for lack of memory. Expects nothing after a
    /// refusal.
    void expectHandBackUnlessRefused(int times, const std::function<void()>& handBack);
    /// Stops the daemon with SIGTERM if it is still running, and checks the promises that every run must keep.
    void end(int handBacks);

    /// Changes a fan's mode as another program would.
    void interfere(int fan, bool isManual);

    const std::vector<std::string>& broken() const { return broken_; }
    /// The number of allocations of the daemon after `beginFaults`.
    int allocations() const { return allocations_; }

    const Machine machine;
    Daemon daemon;
    int client = 0; ///< The first client. Scenarios send their requests from it.

private:
    void expect(bool isTrue, const std::string& otherwise);
    void expectHandedBack(std::size_t since, int times);
    void expectWritten(const std::string& key, std::size_t since, int times);
    bool hasFoundNoFans() const;
    bool hasWritten(std::size_t since) const;

    bool isUndisturbed() const { return !fault_ && !memoryFault_; }

    std::optional<ExchangeFault> fault_;
    const std::optional<MemoryFault> memoryFault_;
    int allocations_ = 0;
    int before_ = 0; ///< Number of exchanges before `beginFaults`.
    std::vector<std::string> broken_;
};

} // namespace kelo
