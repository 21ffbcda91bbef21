#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "prove/daemon/Tape.h"
#include "prove/life/Input.h"

namespace kelo {

/// How often everything has happened. A proof of what never happened proves nothing.
class Coverage {
public:
    Coverage();

    void beginLife() {
        state_ = "no hold";
        isAddingAir_ = false;
    }
    void see(const Input& input, const std::vector<TapeEntry>& events);

    /// Prints the tables. Returns how many things have not happened that should.
    int print() const;

private:
    void see(const TapeEntry& entry);
    void seeSnapshot(const std::string& reply);
    void follow(const std::string& event);

    std::array<std::uint64_t, Input::actions> inputs_{};
    std::map<std::string, std::uint64_t> events_; ///< By text, with # for each number.
    std::map<std::string, std::uint64_t> states_; ///< Inputs in each.
    std::string state_;
    bool isAddingAir_ = false;
};

} // namespace kelo
