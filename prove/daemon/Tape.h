#pragma once

#include <string>
#include <vector>

#include "simulator/model/SimulatedController.h"

namespace kelo {

/// One thing that the daemon did, or that was done to it.
struct TapeEntry {
    double time;            ///< Virtual seconds, at its end.
    std::string event;      ///< Empty for an exchange.
    ExchangeRecord smc{};   ///< Of an exchange.
    bool isFaulted = false; ///< The exchange was made to fail.

    bool isExchange() const { return event.empty(); }
    std::string text() const;
};

/// Everything that was recorded, in its order. What follows the daemon's exit is not recorded: there is no daemon.
class Tape {
public:
    void add(TapeEntry entry);
    void end() { isEnded_ = true; }

    const std::vector<TapeEntry>& entries() const { return entries_; }
    void clear() { entries_.clear(); }
    std::size_t size() const { return entries_.size(); }

private:
    std::vector<TapeEntry> entries_;
    bool isEnded_ = false;
};

} // namespace kelo
