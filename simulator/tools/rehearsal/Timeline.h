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
    struct Sample {
        double seconds;
        std::vector<FanSample> fans;
        double chipCelsius;
    };

    void add(Sample sample) { samples_.push_back(std::move(sample)); }
    void mark(double seconds, std::string text) { marks_.push_back({seconds, std::move(text)}); }
    /// From one moment to another: "lid" or "sleep".
    void span(double from, double to, std::string kind) { spans_.push_back({from, to, std::move(kind)}); }

    /// There is at least one sample. `title` is the picture's, `notes` are lines below it.
    PictureData data(const std::string& title, const std::vector<std::string>& notes) const;

private:
    struct Mark {
        double seconds;
        std::string text;
    };
    struct Span {
        double from;
        double to;
        std::string kind;
    };

    PictureData fanData(std::size_t fan) const;

    std::vector<Sample> samples_;
    std::vector<Mark> marks_;
    std::vector<Span> spans_;
};

} // namespace kelo
