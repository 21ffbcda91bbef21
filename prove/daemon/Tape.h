#pragma once

#include <string>
#include <vector>

#include "simulator/model/SimulatedController.h"

namespace kelo {

/// An action of the daemon, or an event that it received.
struct TapeEntry {
    double time;            ///< Virtual seconds, at the end of the event.
    std::string event;      ///< Empty for an exchange.
    ExchangeRecord smc{};   ///< Meaningless for an event.
    bool isFaulted = false; ///< A fault was injected into the exchange.

    bool isExchange() const { return event.empty(); }
    std::string text() const;
};

/// Records events and exchanges in order. Ignores everything after the daemon's exit.
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
