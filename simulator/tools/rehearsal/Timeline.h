#pragma once

#include <optional>
#include <string>
#include <vector>

#include "simulator/tools/pictures/Picture.h"

namespace kelo {

/// Collects the data for a picture of a rehearsal: fans and chip over time, and events.
class Timeline {
public:
    /// The state of a fan. Speeds are in RPM.
    struct FanSample {
        double rpm;
        std::optional<double> held; ///< Its target while it is in manual mode.
        std::optional<double> asked;
        double maxRPM;
    };

    explicit Timeline(const std::string& title);

    /// Adds a sample. Every call must pass the same fans.
    void add(double seconds, const std::vector<FanSample>& fans, double chipCelsius);
    void mark(double seconds, const std::string& text);
    /// Adds a span of time of the kind "lid" or "sleep".
    void span(double from, double to, const std::string& kind);

    /// The data of the picture, with `notes` as lines below it.
    PictureData data(const std::vector<std::string>& notes) const;

private:
    PictureData data_;
};

} // namespace kelo
