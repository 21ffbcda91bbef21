#pragma once

#include <array>
#include <cstdint>
#include <deque>
#include <random>

#include "prove/life/Input.h"

namespace kelo {

/// Generates random scenarios. The same seed gives the same scenarios on every system.
class Generator {
public:
    explicit Generator(std::uint64_t seed) : random_(seed) {}

    /// Begins a scenario with new random frequencies. Returns its first inputs: the machine, the start and usually a
    /// hold.
    Script begin();
    Input next();

private:
    bool chance(double probability) { return anywhere(0, 1) < probability; }
    double anywhere(double from, double to);
    double whole(int count); ///< An integer from 0 to `count` - 1.
    template <typename Choices>
    auto among(const Choices& choices) {
        return choices[static_cast<std::size_t>(whole(static_cast<int>(std::size(choices))))];
    }

    double& weightOf(Input::Action action) { return weights_[static_cast<std::size_t>(action)]; }
    void chooseFrequencies();
    Input::Action action();
    double duration();
    double fraction();
    double celsius();
    Input interference();
    void waitingHolds();

    std::mt19937_64 random_;
    Input machine_{Input::Action::machine};
    std::array<double, Input::actions> weights_{};
    double sum_ = 0;
    std::deque<Input> next_; ///< Inputs that are already chosen.
    double warmest_ = 0;     ///< Degrees Celsius.
};

} // namespace kelo
