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
    void see(const Input& input) { ++inputs_[static_cast<std::size_t>(input.action)]; }
    void see(const std::vector<TapeEntry>& events);

    /// Prints the tables. Returns how many things have not happened.
    int print() const;

private:
    void seeExchange(const TapeEntry& entry);

    std::array<std::uint64_t, Input::actions> inputs_{};
    std::map<std::string, std::uint64_t> events_; ///< By text, with # for each number.
};

} // namespace kelo
