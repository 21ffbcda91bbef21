#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "prove/daemon/Tape.h"
#include "prove/life/Input.h"

namespace kelo {

/// Counts inputs, states and events, since a proof covers only those that occurred.
class Coverage {
public:
    Coverage();

    void beginScenario() {
        state_ = "no hold";
        isAddingAir_ = false;
    }
    void see(const Input& input, const std::vector<TapeEntry>& events);

    /// Prints the tables of counts. Returns the number of expected rows whose count is 0.
    int print() const;

private:
    void see(const TapeEntry& entry);
    void seeSnapshot(const std::string& reply);
    void follow(const std::string& event);

    std::array<std::uint64_t, Input::actions> inputs_{};
    std::map<std::string, std::uint64_t> events_; ///< Count by text, with # for each number.
    std::map<std::string, std::uint64_t> states_; ///< Count of inputs by state.
    std::string state_;
    bool isAddingAir_ = false;
};

} // namespace kelo
