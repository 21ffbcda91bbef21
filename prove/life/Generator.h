#pragma once

#include <array>
#include <cstdint>
#include <deque>
#include <random>

#include "prove/life/Input.h"

namespace kelo {

/// Makes up lives at random: the same for the same seed, on every system.
class Generator {
public:
    explicit Generator(std::uint64_t seed) : random_(seed) {}

    /// Begins a life with a temperament of its own: what the machine is like, the start and, mostly, a
    /// first hold.
    Script begin();
    /// What happens next in it.
    Input next();

private:
    bool chance(double probability) { return anywhere(0, 1) < probability; }
    double anywhere(double from, double to);
    double whole(int count); ///< 0 up to, but not including, `count`.
    template <typename Choices>
    auto among(const Choices& choices) {
        return choices[static_cast<std::size_t>(whole(static_cast<int>(std::size(choices))))];
    }

    double& weightOf(Input::Action action) { return weights_[static_cast<std::size_t>(action)]; }
    void chooseTemperament();
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
    std::deque<Input> next_; ///< Already decided.
    double warmest_ = 0;     ///< Degrees Celsius.
};

} // namespace kelo
