#include "client/view/FanRecord.h"

#include <cmath>

#include "client/view/FanText.h"

namespace kelo {
namespace {

constexpr double targetTolerance = 0.005; // fraction of the range

std::string targetText(const FanSnapshot& snapshot) { return "target " + speedText(snapshot.targetRPM, snapshot); }

/// Whether the held speed has changed. Compares fractions of the range, since a different fan may be the fastest now.
/// Ignores targets that were raised for a hot chip, since they change without a request.
bool hasOtherTarget(const FanSnapshot& before, const FanSnapshot& now) {
    if (before.addingAir || now.addingAir || !before.underKeloControl || !now.underKeloControl)
        return false;
    const auto old = fractionOfRange(before.targetRPM, before);
    const auto current = fractionOfRange(now.targetRPM, now);
    return old && current && std::fabs(*old - *current) > targetTolerance;
}

std::vector<std::string> eventsBetween(const FanSnapshot& before, const FanSnapshot& now) {
    std::vector<std::string> sentences;
    if (!before.lidHasFan && now.lidHasFan)
        sentences.emplace_back("Waiting: the lid is closed, or the fans could not be taken again.");
    else if (before.lidHasFan && now.underKeloControl)
        sentences.push_back("The fans are held again: " + targetText(now) + ".");
    else if (before.lidHasFan && !now.lidHasFan)
        sentences.emplace_back("The hold has ended: the fans are under automatic control.");
    else if (!before.underKeloControl && now.underKeloControl)
        sentences.push_back("The fans are held: " + targetText(now) + ".");
    else if (before.underKeloControl && !now.underKeloControl)
        sentences.emplace_back("The fans are handed back: they are under automatic control.");
    else if (hasOtherTarget(before, now))
        sentences.push_back("The fans are held at another speed: " + targetText(now) + ".");
    if (!before.addingAir && now.addingAir)
        sentences.emplace_back("The chip is hot: the fans run faster than asked.");
    else if (before.addingAir && !now.addingAir && now.underKeloControl)
        sentences.emplace_back("The chip has cooled: the fans are back at the speed asked for.");
    return sentences;
}

/// A snapshot with which the first reading is compared. It makes the first reading cause no events other than a waiting
/// hold and a hot chip.
FanSnapshot baselineFor(const FanSnapshot& now) {
    return {now.fanCount,         now.currentRPM, now.minRPM,      now.maxRPM, now.targetRPM,
            now.underKeloControl, now.warmth,     now.chipCelsius, false,      false};
}

FanRecord::Sample sampleOf(const FanSnapshot& snapshot, double seconds) {
    const bool hasFan = snapshot.fanCount > 0;
    return {.seconds = seconds,
            .rpm = hasFan ? std::optional(snapshot.currentRPM) : std::nullopt,
            .target = hasFan && snapshot.underKeloControl ? std::optional(snapshot.targetRPM) : std::nullopt,
            .celsius = snapshot.chipCelsius,
            .warmth = inkOf(snapshot.warmth)};
}

} // namespace

std::vector<std::string> FanRecord::observe(const FanSnapshot& snapshot, const Moment& moment) {
    std::vector<std::string> sentences;
    if (!failure_.empty())
        sentences.emplace_back("The helper answers again.");
    failure_.clear();
    for (auto& sentence : eventsBetween(latest_ ? *latest_ : baselineFor(snapshot), snapshot))
        sentences.push_back(std::move(sentence));
    latest_.emplace(snapshot);
    latestTime_ = moment.timeOfDay;
    samples_.push_back(sampleOf(snapshot, moment.seconds));
    while (samples_.front().seconds < moment.seconds - keptSeconds)
        samples_.pop_front();
    for (const auto& sentence : sentences)
        note(sentence, moment);
    return sentences;
}

std::vector<std::string> FanRecord::observeFailure(const std::string& reason, const Moment& moment) {
    if (reason == failure_)
        return {};
    failure_ = reason;
    note(reason, moment);
    return {reason};
}

void FanRecord::note(const std::string& sentence, const Moment& moment) {
    events_.push_front({moment.timeOfDay, sentence});
    if (events_.size() > keptEvents)
        events_.pop_back();
}

} // namespace kelo
