#include "prove/life/Generator.h"

#include <csignal>
#include <limits>

namespace kelo {
namespace {

using Action = Input::Action;

constexpr double nan = std::numeric_limits<double>::quiet_NaN();
constexpr double infinity = std::numeric_limits<double>::infinity();

struct Frequency {
    Action action;
    double weight;
};

/// Frequencies of the inputs in an ordinary scenario.
constexpr Frequency ordinary[] = {
    {Action::pass, 40},        {Action::busy, 3},        {Action::blocked, 1},      {Action::connect, 5},
    {Action::interrupt, 1},    {Action::invalidate, 3},  {Action::snapshot, 4},     {Action::hold, 7},
    {Action::handBack, 1.5},   {Action::version, 1},     {Action::standDown, 0.2},  {Action::signal, 0.3},
    {Action::fileEvent, 0.5},  {Action::lid, 6},         {Action::powerDomain, .1}, {Action::canSleep, 1},
    {Action::willSleep, 2},    {Action::poweredOn, 4},   {Action::chip, 8},         {Action::value, 8},
    {Action::replaceFile, .1}, {Action::deleteFile, .1}, {Action::putFileBack, 1}};

/// Inputs that occur only in some scenarios.
constexpr Frequency wild[] = {{Action::type, 1},  {Action::sizeLie, 1}, {Action::remove, 2}, {Action::restore, 2},
                              {Action::fault, 4}, {Action::noFault, 5}, {Action::root, 1},   {Action::unlockRule, 1}};

} // namespace

double Generator::anywhere(double from, double to) {
    return from + (to - from) * static_cast<double>(random_() >> 11) * 0x1p-53;
}

double Generator::whole(int count) { return static_cast<double>(random_() % static_cast<std::uint64_t>(count)); }

Script Generator::begin() {
    chooseFrequencies();
    machine_.x = chance(0.03) ? 0 : 1 + whole(3);
    machine_.y = chance(0.05) ? 3 : whole(3);
    machine_.z = chance(0.2) ? 1 : 0;
    Script script = {machine_};
    for (const auto action : {Action::noController, Action::unsignedHelper, Action::unknownPath,
                              Action::unidentifiedFile, Action::unwatchableFile, Action::powerDomain})
        if (chance(0.02))
            script.push_back({action});
    if (chance(0.2))
        script.push_back({Action::slowExchange, anywhere(0, 0.01)});
    if (chance(0.05))
        script.push_back(interference());
    if (chance(0.02))
        script.push_back({Action::value, 10, whole(256)}); // the number of fans
    script.push_back({Action::start});
    if (chance(0.8)) {
        script.push_back({Action::connect});
        script.push_back({Action::hold, 0, fraction(), whole(2)});
    }
    return script;
}

void Generator::chooseFrequencies() {
    weights_.fill(0);
    for (const auto& [action, weight] : ordinary)
        weightOf(action) = weight * (chance(0.2) ? anywhere(0, 4) : 1);
    const bool isWild = chance(0.4);
    for (const auto& [action, weight] : wild)
        weightOf(action) = isWild ? weight * anywhere(0, 2) : 0;
    weightOf(Action::chip) *= chance(0.7) ? 0.2 : 1;
    if (chance(0.4)) // lets holds last longer
        for (const auto action : {Action::hold, Action::handBack, Action::invalidate, Action::willSleep, Action::lid})
            weightOf(action) *= 0.2;
    sum_ = 0;
    for (const double weight : weights_)
        sum_ += weight;
    warmest_ = chance(0.4) ? 85 : 115;
}

Action Generator::action() {
    double left = anywhere(0, sum_);
    for (int action = 0; action < Input::actions; ++action)
        if ((left -= weights_[static_cast<std::size_t>(action)]) < 0)
            return static_cast<Action>(action);
    return Action::pass;
}

Input Generator::next() {
    constexpr double odd[] = {nan, infinity, -infinity, -1, 0, 0.5, 255, 65536, 1e10};
    if (!next_.empty()) {
        const auto input = next_.front();
        next_.pop_front();
        return input;
    }
    const Action what = action();
    switch (what) {
    case Action::busy:
        if (chance(0.05))
            waitingHolds();
        return {what};
    case Action::blocked:
        if (chance(0.5))
            next_.push_back({chance(0.7) ? Action::willSleep : Action::poweredOn});
        return {what};
    case Action::pass:
        return {what, duration()};
    case Action::hold:
        return {what, whole(8), fraction(), whole(2)};
    case Action::lid:
        return chance(0.1) ? Input{what, 2 + whole(3), among(odd)} : Input{what, whole(2)};
    case Action::powerDomain:
        return {what, whole(2)};
    case Action::root:
        return {what, chance(0.7) ? 1.0 : 0.0};
    case Action::chip:
        return {what, celsius()};
    case Action::value:
        return chance(0.8) ? interference() : Input{what, whole(14), chance(0.5) ? among(odd) : anywhere(0, 7000)};
    case Action::type:
        return {what, whole(14), whole(5)};
    case Action::sizeLie:
        return {what, whole(14), chance(0.5) ? whole(5) : among(std::array{33.0, 256.0, 1e9})};
    case Action::restore:
        return {what, machine_.x, machine_.y, machine_.z};
    case Action::unlockRule:
        return {what, whole(2), anywhere(0, 3) + (chance(0.2) ? 1e9 : 0)};
    case Action::fault:
        return {what, chance(0.1) ? 3.0 : whole(3), whole(3), whole(60)};
    case Action::signal:
        return {what, among(std::array<double, 7>{SIGTERM, SIGTERM, SIGINT, SIGHUP, SIGUSR1, SIGALRM, SIGWINCH})};
    case Action::replaceFile:
    case Action::deleteFile:
        return {what, whole(2)};
    default:
        return {what, whole(8)};
    }
}

/// Queues six holds, and sometimes an announcement of sleep while the first hold takes the fans.
void Generator::waitingHolds() {
    for (int i = 0; i < 6; ++i)
        next_.push_back({Action::hold, 0, fraction(), whole(2)});
    if (chance(0.5))
        next_.insert(next_.end(), {{Action::blocked}, {Action::willSleep}});
}

double Generator::duration() {
    if (chance(0.3))
        return 2;
    if (chance(0.7))
        return anywhere(0, 0.7);
    return chance(0.8) ? anywhere(0, 5) : chance(0.95) ? anywhere(7, 10) : anywhere(10, 100);
}

double Generator::fraction() {
    if (chance(0.7))
        return anywhere(0, 1);
    return among(std::array{nan, infinity, -infinity, -0.2, 0.0, 0.0, 1e-5, 0.3, 0.5, 0.5, 0.5, 1.0, 1.7});
}

double Generator::celsius() {
    if (chance(0.03))
        return among(std::array{nan, infinity, -infinity, -300.0});
    if (chance(0.1))
        return among(std::array{60.0, 80.0, 89.0, 96.0, 101.0}); // thresholds of the warmth levels and of the floor
    return chance(0.5) ? anywhere(30, 85) : anywhere(60, warmest_);
}

/// A change by another program to a fan's mode, a fan's target or the unlock switch.
Input Generator::interference() {
    if (chance(0.1))
        return {Action::value, 11, whole(2)};
    if (chance(0.1)) // off by exactly the tolerance if half or the lowest speed is requested
        return {Action::value, 2 + whole(2), among(std::array{1175.0, 1225.0, 3575.0, 3625.0})};
    if (chance(0.4))
        return {Action::value, 2 + whole(2), anywhere(1000, 6500)};
    return {Action::value, whole(2), among(std::array{0.0, 0.0, 1.0, 2.0})};
}

} // namespace kelo
