#pragma once

#include <optional>
#include <string>
#include <vector>

#include "prove/daemon/Daemon.h"
#include "prove/life/Input.h"

namespace kelo {

/// One life of the daemon and of its model, which are given the same inputs and compared after each.
class TwoLives {
public:
    TwoLives();

    /// Inputs that make no sense, such as a request without a client, do nothing. Returns whether both did the same.
    bool apply(const Input& input);
    /// Both have exited.
    bool hasEnded() const { return daemon_.hasExited(); }

    /// What the daemon did since the last input.
    const std::vector<TapeEntry>& events() const { return daemon_.tape.entries(); }
    /// Where the two parted.
    const std::string& difference() const { return difference_; }

    /// None when the script shows no difference.
    static std::optional<std::string> differenceOf(const Script& script);

private:
    void give(const Input& input);
    bool isTimely(Input::Action action) const;
    std::optional<int> chooseClient(const Input& input);
    void giveOfClient(const Input& input);
    void giveWhileBlocked(const Input& input, int client);
    bool agree(const Input& input);

    Daemon model_;
    Daemon daemon_;
    bool isStarted_ = false;
    bool isBusy_ = false;
    bool isForBlocked_ = false; ///< The next input of a client or of the power domain waits for a blocked main thread.
    std::string difference_;
};

} // namespace kelo
