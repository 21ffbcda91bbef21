#pragma once

#include <deque>
#include <optional>
#include <string>
#include <vector>

#include "client/view/Line.h"
#include "protocol/FanSnapshot.h"

namespace kelo {

/// A moment as the record keeps it: for its order, for people, and for programs.
struct Moment {
    double seconds;        ///< Of a clock that only goes forward.
    std::string timeOfDay; ///< In the local time zone.
    std::string utc = {};  ///< As ISO 8601.
};

/// What a client has seen of the fans: the last reading, those of the last minutes, and what has happened meanwhile.
class FanRecord {
public:
    struct Sample {
        double seconds;
        std::optional<double> rpm;    ///< Of the fastest fan; nullopt without a usable fan.
        std::optional<double> target; ///< The same fan's, in RPM, while the fans are held.
        std::optional<double> celsius;
        Ink warmth;
    };
    struct Event {
        std::string timeOfDay;
        std::string text; ///< A sentence.
    };

    static constexpr double keptSeconds = 900;
    static constexpr std::size_t keptEvents = 100;

    /// Takes a reading. Returns what has happened since the last one, in sentences.
    std::vector<std::string> observe(const FanSnapshot& snapshot, const Moment& moment);

    /// Takes the reason why there is no reading. Returns it unless it is known already.
    std::vector<std::string> lack(const std::string& reason, const Moment& moment);

    /// Takes an event that no reading shows.
    void note(const std::string& sentence, const Moment& moment);

    /// The last reading, if there has been one, and its time of day.
    const std::optional<FanSnapshot>& latest() const { return latest_; }
    const std::string& latestTime() const { return latestTime_; }
    /// Why there is no newer reading; empty when the last one is current.
    const std::string& lacking() const { return lacking_; }
    /// The oldest first.
    const std::deque<Sample>& samples() const { return samples_; }
    /// The newest first.
    const std::deque<Event>& events() const { return events_; }

private:
    std::optional<FanSnapshot> latest_;
    std::string latestTime_;
    std::string lacking_;
    std::deque<Sample> samples_;
    std::deque<Event> events_;
};

} // namespace kelo
