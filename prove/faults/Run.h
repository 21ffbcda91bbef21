#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "prove/daemon/Daemon.h"
#include "testing/FailingMemory.h"

namespace kelo {

/// A Mac to run scenarios on.
struct Machine {
    enum class Unlock { noSwitch, notNeeded, needed };

    int fans;
    Unlock unlock;
    std::uint32_t speedType;

    std::string name() const;
};

/// One life of the daemon on one machine, with at most one fault, and what was found broken in it.
class Run {
public:
    explicit Run(const Machine& machine, std::optional<ExchangeFault> fault = std::nullopt,
                 std::optional<MemoryFault> memoryFault = std::nullopt);

    /// Faults begin to count exchanges here.
    void beginFaults();
    /// Does what takes the fans, and checks that every one is in manual mode then, unless faults are to come.
    void takes(const std::function<void()>& action);
    /// Does what hands the fans back, so often for each fan, and checks that whatever could be written was written.
    void handsBack(int times, const std::function<void()>& action);
    /// Asks for a hold, and checks the same if it is refused.
    void leavesNothingIfRefused(const std::function<void()>& hold);
    /// Asks for a hand-back, and checks the same unless it is refused, as it is only for lack of memory.
    void handsBackUnlessRefused(int times, const std::function<void()>& handBack);
    /// Ends the daemon by SIGTERM, if it still lives, and checks what must be true of every run.
    void end(int handBacks);

    /// Another program puts a fan into manual mode, or back.
    void interfere(int fan, bool isManual);

    const std::vector<std::string>& broken() const { return broken_; }
    /// Allocations of the daemon after `beginFaults`.
    int allocations() const { return allocations_; }

    const Machine machine;
    Daemon daemon;
    int client = 0; ///< The one that scenarios begin with.

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
    int before_ = 0; ///< Exchanges that no fault may meet.
    std::vector<std::string> broken_;
};

} // namespace kelo
