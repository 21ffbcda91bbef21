#pragma once

#include <filesystem>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

namespace kelo {

/// What happened in a rehearsal, as a picture: the fans' speeds and modes and the chip's temperature over time, and
/// what was done to the Mac.
class Timeline {
public:
    /// A fan at one moment.
    struct FanSample {
        double rpm;
        bool isManual;
    };
    struct Sample {
        double seconds;
        std::vector<FanSample> fans;
        double chipCelsius;
    };

    void add(Sample sample) { samples_.push_back(std::move(sample)); }
    void mark(double seconds, std::string text) { marks_.push_back({seconds, std::move(text)}); }

    /// A stand-alone SVG. There is at least one sample.
    std::string svg() const;

private:
    struct Mark {
        double seconds;
        std::string text;
    };

    double duration() const { return samples_.back().seconds; }
    double x(double seconds) const;
    std::string axes() const;
    std::string manualSpans() const;
    std::string speedCurve(std::size_t fan) const;
    std::string temperatureCurve() const;
    std::string markLines() const;

    std::vector<Sample> samples_;
    std::vector<Mark> marks_;
};

} // namespace kelo
