#pragma once

#include <deque>
#include <optional>
#include <string>
#include <vector>

#include "protocol/FanSnapshot.h"

namespace kelo {

/// A moment as the record keeps it: for its order, and for people.
struct Moment {
    double seconds; ///< Of a clock that only goes forward.
    std::string timeOfDay;
};

/// What a client has seen of the fans: the last reading, those of the last minutes, and what has happened meanwhile.
class FanRecord {
public:
    struct Sample {
        double seconds;
        std::optional<double> speed; ///< As a fraction of the fan's range.
        std::optional<double> chip;  ///< As a fraction of what a bar shows.
    };
    struct Event {
        std::string timeOfDay;
        std::string text; ///< A sentence.
    };

    static constexpr double keptSeconds = 900;
    static constexpr std::size_t keptEvents = 100;

    /// Takes a reading. Returns what has happened since the last one, in sentences.
    std::vector<std::string> observe(const FanSnapshot& snapshot, const Moment& moment);

    /// Takes the news that there is no reading, and why. Returns the reason unless it is known already.
    std::vector<std::string> lack(const std::string& reason, const Moment& moment);

    /// The last reading, if there has been one.
    const std::optional<FanSnapshot>& latest() const { return latest_; }
    /// Why there is no newer reading; empty when the last one is current.
    const std::string& lacking() const { return lacking_; }
    /// The oldest first.
    const std::deque<Sample>& samples() const { return samples_; }
    /// The newest first.
    const std::deque<Event>& events() const { return events_; }

private:
    void note(const std::vector<std::string>& sentences, const Moment& moment);

    std::optional<FanSnapshot> latest_;
    std::string lacking_;
    std::deque<Sample> samples_;
    std::deque<Event> events_;
};

} // namespace kelo
