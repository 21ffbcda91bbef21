#pragma once

#include <optional>
#include <string>
#include <vector>

#include "prove/daemon/Daemon.h"
#include "prove/life/Input.h"

namespace kelo {

/// Runs the daemon and its model through the same scenario and compares them after each input.
class TwoLives {
public:
    TwoLives();

    /// Ignores impossible inputs, such as a request without a client. Returns whether the daemon and the model did the
    /// same.
    bool apply(const Input& input);
    bool hasEnded() const { return daemon_.hasExited(); }

    /// The daemon's tape since the last input.
    const std::vector<TapeEntry>& events() const { return daemon_.tape.entries(); }
    const std::string& difference() const { return difference_; }

    /// nullopt if the scenario shows no difference.
    static std::optional<std::string> differenceOf(const Script& script);

private:
    void give(const Input& input);
    bool isPossible(Input::Action action) const;
    std::optional<int> chooseClient(const Input& input);
    void giveFromClient(const Input& input);
    void giveWhileBlocked(const Input& input, int client);
    bool agree(const Input& input);

    Daemon model_;
    Daemon daemon_;
    bool isStarted_ = false;
    bool isBusy_ = false;
    bool waitsForBlock_ = false; ///< The next input from a client or the power domain waits for a blocked main thread.
    std::string difference_;
};

} // namespace kelo
