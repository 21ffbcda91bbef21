#pragma once

#include <optional>
#include <string>
#include <vector>

#include "simulator/tools/pictures/Picture.h"

namespace kelo {

/// What happened in a rehearsal, as data for a picture: the fans and the chip over time, and what was done to the Mac.
class Timeline {
public:
    /// A fan at one moment. Speeds in RPM.
    struct FanSample {
        double rpm;
        std::optional<double> held; ///< Its target while it is in manual mode.
        std::optional<double> asked;
        double maxRPM;
    };

    explicit Timeline(const std::string& title);

    /// The state at one moment; each time with the same fans.
    void add(double seconds, const std::vector<FanSample>& fans, double chipCelsius);
    void mark(double seconds, const std::string& text);
    /// From one moment to another: "lid" or "sleep".
    void span(double from, double to, const std::string& kind);

    /// `notes` are lines below the picture.
    PictureData data(const std::vector<std::string>& notes) const;

private:
    PictureData data_;
};

} // namespace kelo
