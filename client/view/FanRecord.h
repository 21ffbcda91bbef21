#pragma once

#include <deque>
#include <optional>
#include <string>
#include <vector>

#include "client/view/Line.h"
#include "protocol/FanSnapshot.h"

namespace kelo {

struct Moment {
    double seconds;        ///< The time on a monotonic clock.
    std::string timeOfDay; ///< In the local time zone.
    std::string utc = {};  ///< In ISO 8601 format.
};

/// A client's record of the fans: the last reading, samples from the last few minutes, and events.
class FanRecord {
public:
    struct Sample {
        double seconds;
        std::optional<double> rpm;    ///< The speed of the fastest fan; nullopt if there is no usable fan.
        std::optional<double> target; ///< The target of the same fan, in RPM; nullopt unless the fans are held.
        std::optional<double> celsius;
        Ink warmth;
    };
    struct Event {
        std::string timeOfDay;
        std::string text; ///< A sentence.
    };

    static constexpr double keptSeconds = 900;
    static constexpr std::size_t keptEvents = 100;

    /// Records a reading. Returns the events since the last reading as sentences.
    std::vector<std::string> observe(const FanSnapshot& snapshot, const Moment& moment);

    /// Records the reason why there is no reading. Returns the reason only if it has changed.
    std::vector<std::string> observeFailure(const std::string& reason, const Moment& moment);

    /// Records an event that does not follow from a reading.
    void note(const std::string& sentence, const Moment& moment);

    /// The last reading, if any, and its time of day.
    const std::optional<FanSnapshot>& latest() const { return latest_; }
    const std::string& latestTime() const { return latestTime_; }
    /// The reason why there is no newer reading; empty if the last reading is current.
    const std::string& failure() const { return failure_; }
    /// Oldest first.
    const std::deque<Sample>& samples() const { return samples_; }
    /// Newest first.
    const std::deque<Event>& events() const { return events_; }

private:
    std::optional<FanSnapshot> latest_;
    std::string latestTime_;
    std::string failure_;
    std::deque<Sample> samples_;
    std::deque<Event> events_;
};

} // namespace kelo
