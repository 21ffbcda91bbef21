#include "client/view/FanRecord.h"

#include <cmath>

#include "client/view/FanText.h"

namespace kelo {
namespace {

constexpr double sameTarget = 0.005; // of the range

std::string targetText(const FanSnapshot& snapshot) {
    const auto fraction = fractionOfRange(snapshot.targetRPM, snapshot);
    return "target " + decimal(snapshot.targetRPM, 0) + " RPM" + (fraction ? ", " + percentText(*fraction) : "");
}

std::optional<double> targetFraction(const FanSnapshot& snapshot) {
    return fractionOfRange(snapshot.targetRPM, snapshot);
}

/// By fraction, since another fan may be the fastest now. A hot chip moves the target, too, without anybody's asking.
bool isAskedOtherwise(const FanSnapshot& before, const FanSnapshot& now) {
    if (before.addingAir || now.addingAir || !before.underKeloControl || !now.underKeloControl)
        return false;
    const auto old = targetFraction(before);
    const auto current = targetFraction(now);
    return old && current && std::fabs(*old - *current) > sameTarget;
}

std::vector<std::string> whatHappened(const FanSnapshot& before, const FanSnapshot& now) {
    std::vector<std::string> sentences;
    if (!before.lidHasFan && now.lidHasFan)
        sentences.emplace_back("The lid is closed: the fan is handed back until it opens.");
    else if (before.lidHasFan && now.underKeloControl)
        sentences.push_back("The lid is open: the fan is held again, " + targetText(now) + ".");
    else if (before.lidHasFan && !now.lidHasFan)
        sentences.emplace_back("The hold has ended: the fan is under automatic control.");
    else if (!before.underKeloControl && now.underKeloControl)
        sentences.push_back("The fan is held: " + targetText(now) + ".");
    else if (before.underKeloControl && !now.underKeloControl)
        sentences.emplace_back("The fan is handed back: it is under automatic control.");
    else if (isAskedOtherwise(before, now))
        sentences.push_back("The fan is asked for another speed: " + targetText(now) + ".");
    if (!before.addingAir && now.addingAir)
        sentences.emplace_back("The chip is hot: the fan gets more air than asked for.");
    else if (before.addingAir && !now.addingAir && now.underKeloControl)
        sentences.emplace_back("The chip has cooled: the fan is back at the speed asked for.");
    return sentences;
}

/// For a first reading: the same without what a hold says of itself.
FanSnapshot unremarkable(const FanSnapshot& now) {
    return {now.fanCount,         now.currentRPM, now.minRPM,      now.maxRPM, now.targetRPM,
            now.underKeloControl, now.warmth,     now.chipCelsius, false,      false};
}

} // namespace

std::vector<std::string> FanRecord::observe(const FanSnapshot& snapshot, const Moment& moment) {
    std::vector<std::string> sentences;
    if (!lacking_.empty())
        sentences.emplace_back("The helper answers again.");
    lacking_.clear();
    for (auto& sentence : whatHappened(latest_ ? *latest_ : unremarkable(snapshot), snapshot))
        sentences.push_back(std::move(sentence));
    latest_.emplace(snapshot);
    const auto& celsius = snapshot.chipCelsius;
    samples_.push_back({moment.seconds, fractionOfRange(snapshot.currentRPM, snapshot),
                        celsius ? std::optional(fractionOfHeat(*celsius)) : std::nullopt});
    while (samples_.front().seconds < moment.seconds - keptSeconds)
        samples_.pop_front();
    note(sentences, moment);
    return sentences;
}

std::vector<std::string> FanRecord::lack(const std::string& reason, const Moment& moment) {
    if (reason == lacking_)
        return {};
    lacking_ = reason;
    note({reason}, moment);
    return {reason};
}

void FanRecord::note(const std::vector<std::string>& sentences, const Moment& moment) {
    for (const auto& sentence : sentences)
        events_.push_front({moment.timeOfDay, sentence});
    while (events_.size() > keptEvents)
        events_.pop_back();
}

} // namespace kelo
