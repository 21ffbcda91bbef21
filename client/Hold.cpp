#include "client/Commands.h"

#include <algorithm>
#include <cmath>
#include <csignal>
#include <limits>
#include <utility>

#include "client/ExitStatus.h"
#include "client/LiveView.h"
#include "client/Readings.h"
#include "client/view/FanText.h"

namespace kelo::commands {
namespace {

constexpr double refreshInterval = 1.0; // seconds
constexpr double retryInterval = 10.0;  // seconds after a refusal, since each attempt may keep the helper busy
constexpr double handBackTimeout = 5;   // seconds; the helper may first need up to 4 seconds to take a fan
// The helper repairs changes made by other programs within 2 seconds, but leaves a target unchanged if it is off by at
// most 25 RPM. The constants below allow for both.
constexpr int readingsUntilSure = 4;
constexpr double speedTolerance = 30;       // RPM
constexpr double fractionTolerance = 0.006; // fraction of the range

std::string durationText(double seconds) {
    const auto whole = static_cast<long>(std::ceil(seconds));
    std::string text;
    for (const auto& [size, unit] : {std::pair(whole / 3600, "h"), {whole / 60 % 60, "m"}, {whole % 60, "s"}})
        if (size > 0)
            text += (text.empty() ? "" : " ") + std::to_string(size) + " " + unit;
    return text.empty() ? "0 s" : text;
}

std::string percentText(double fraction) {
    const auto text = decimal(fraction * 100, 1);
    return (text.ends_with(".0") ? text.substr(0, text.size() - 2) : text) + "%";
}

double requestedFraction(HelperConnection& helper, const HoldRequest& request) {
    if (const auto* fraction = std::get_if<double>(&request.speed))
        return *fraction;
    const auto rpm = std::get<RPM>(request.speed).value;
    const auto now = fetchReading(helper).snapshot;
    if (!(rpm >= now.minRPM && rpm <= now.maxRPM && now.minRPM < now.maxRPM))
        throw HelperRefused(decimal(rpm, 0) + " RPM is outside the fan's range, " + decimal(now.minRPM, 0) + " to " +
                            decimal(now.maxRPM, 0) + " RPM.");
    return (rpm - now.minRPM) / (now.maxRPM - now.minRPM);
}

/// Infers from readings whether the requested hold is still in force.
class HoldStatus {
public:
    enum State { inForce, replaced, ended };

    State state() const { return state_; }

    /// Returns whether the state has changed.
    bool observe(const FanSnapshot& snapshot, double fraction) {
        const auto seen = stateIn(snapshot, fraction);
        readings_ = seen == seen_ ? readings_ + 1 : 1;
        seen_ = seen;
        return readings_ >= (seen == inForce ? 1 : readingsUntilSure) && std::exchange(state_, seen) != seen;
    }

private:
    State stateIn(const FanSnapshot& snapshot, double fraction) const {
        if (snapshot.lidHasFan || snapshot.addingAir)
            return state_; // the target does not show whether this or another hold is in force
        if (!snapshot.underKeloControl)
            return ended;
        const double range = snapshot.maxRPM - snapshot.minRPM;
        const double off = std::fabs(snapshot.targetRPM - (snapshot.minRPM + fraction * range));
        return off > std::max(speedTolerance, fractionTolerance * range) ? replaced : inForce;
    }

    State state_ = inForce;
    State seen_ = inForce;
    int readings_ = 0;
};

/// The text that describes each state of the hold, in the order of `HoldStatus::State`.
const struct {
    std::string title;    ///< Shown in the title of the view.
    std::string sentence; ///< Printed when the state begins.
} statusTexts[] = {{"", "This hold is in force again"},
                   {" (replaced by another hold)", "Another client has replaced this hold"},
                   {" (no longer in force)",
                    "This hold is no longer in force: another client has ended it, or the Mac is about to sleep"}};

class Holder {
public:
    Holder(const Surroundings& surroundings, Terminal& terminal, const HoldRequest& request)
        : surroundings_(surroundings), terminal_(terminal), request_(request),
          isDrawn_(request.command.empty() && terminal.isInteractive()),
          view_(surroundings, terminal, isDrawn_,
                {[this] { return title(); }, "q or Ctrl-C ends the hold and hands the fans back"}, handBackTimeout) {}

    int run() {
        fraction_ = requestedFraction(view_.helper(), request_);
        requestHold();
        terminal_.catchStopSignals();
        terminal_.dropBlockedOutput();
        end_ = terminal_.now().seconds + request_.seconds.value_or(std::numeric_limits<double>::infinity());
        int status = exit_status::done;
        try {
            announce();
            status = holdUntilEnd();
        } catch (...) {
            returnFansIfReachable();
            throw;
        }
        handBack(status);
        return status;
    }

private:
    void requestHold() {
        if (const auto error = view_.helper().ask(requests::Hold{fraction_, request_.handsBackOnLidClose}))
            throw HelperRefused(*error);
    }

    void announce() {
        std::optional<FanSnapshot> first;
        try {
            first.emplace(fetchReading(view_.helper()).snapshot);
        } catch (const HelperRefused&) {
            // The next call of `update` reports the reason.
        } catch (const HelperUnreachable&) {
            isLost_ = true;
        }
        if (first && first->fanCount == 0)
            throw HelperRefused("This Mac has no usable fan, so nothing is held.");
        const auto length = request_.seconds ? " for " + durationText(*request_.seconds) : "";
        const std::string ending = !request_.command.empty() ? "The end of the command hands the fans back."
                                   : request_.seconds        ? "Ctrl-C hands the fans back sooner."
                                                             : "Ctrl-C hands the fans back.";
        say("Holding at " + percentText(fraction_) + length + ". " + ending);
        if (first && !first->chipCelsius)
            say("The temperature of the chip cannot be read: this hold does not raise the fans when the chip gets "
                "hot. Choose a speed that is enough for full load.");
    }

    /// Waits for the end of the hold. Returns the exit status.
    int holdUntilEnd() {
        std::optional<Companion> companion;
        if (!request_.command.empty())
            companion = surroundings_.start(request_.command);
        update();
        for (bool isForwarded = false;;) {
            const auto status = companion ? companion->status() : std::nullopt;
            const int stop = terminal_.stopSignal();
            if (status)
                return *status;
            if (!companion && (stop != 0 || terminal_.now().seconds >= end_))
                return exit_status::done;
            if (companion && stop != 0 && stop != SIGINT && !std::exchange(isForwarded, true))
                companion->signal(stop); // the terminal sends SIGINT to both processes
            view_.pause(std::clamp(end_ - terminal_.now().seconds, 0.0, refreshInterval));
            if (companion || terminal_.stopSignal() == 0)
                update();
        }
    }

    void update() {
        try {
            if (isLost_ && status_.state() == HoldStatus::inForce && terminal_.now().seconds >= retryAt_) {
                retryAt_ = terminal_.now().seconds + retryInterval;
                requestHold();
                isLost_ = false;
                report("The hold was requested again.");
            }
            const auto snapshot = fetchReading(view_.helper()).snapshot;
            isSilent_ = false;
            for (const auto& sentence : view_.observe(snapshot))
                sayUnlessDrawn(sentence);
            if (!isLost_ && status_.observe(snapshot, fraction_))
                report(statusText(snapshot));
        } catch (const HelperRefused& refused) {
            reportFailure(refused.what());
        } catch (const HelperUnreachable& unreachable) {
            isLost_ = true;
            isSilent_ = dynamic_cast<const HelperSilent*>(&unreachable) != nullptr;
            retryAt_ = 0;
            reportFailure(std::string(unreachable.what()) + " Waiting for the helper.");
        }
    }

    void reportFailure(const std::string& reason) {
        for (const auto& sentence : view_.observeFailure(reason))
            sayUnlessDrawn(sentence);
    }

    std::string statusText(const FanSnapshot& snapshot) const {
        const bool isReplaced = status_.state() == HoldStatus::replaced;
        return statusTexts[status_.state()].sentence +
               (isReplaced ? ": target " + speedText(snapshot.targetRPM, snapshot) : "") +
               (timeLeft().empty() ? "" : " (" + timeLeft() + ")") + ".";
    }

    std::string timeLeft() const {
        return request_.seconds ? durationText(std::max(0.0, end_ - terminal_.now().seconds)) + " left" : "";
    }

    std::string title() const {
        const std::string state = isLost_ ? " (waiting to request it again)" : statusTexts[status_.state()].title;
        return "kelo hold " + percentText(fraction_) + (timeLeft().empty() ? "" : ", " + timeLeft()) + state;
    }

    /// Hands the fans back. Throws if that fails, unless the command has failed too: the command's status takes
    /// precedence.
    void handBack(int status) {
        try {
            if (isSilent_)
                throw HelperSilent("The helper does not answer.");
            returnFans(view_.helper());
            view_.end();
            say("The fans are under automatic control.");
        } catch (const HelperSilent& silent) {
            fail<HelperSilent>(status, silent.what(),
                               " It hands the fans back 8 seconds after it has noticed that kelo has exited.");
        } catch (const HelperUnreachable& unreachable) {
            fail<HelperUnreachable>(status, unreachable.what(),
                                    " After a crash the fans stay as they were: once a helper runs, use kelo "
                                    "hand-back.");
        } catch (const HelperRefused& refused) {
            fail<HelperRefused>(status, refused.what(), "");
        }
    }

    template <typename Error>
    void fail(int status, const std::string& reason, const std::string& consequence) {
        if (status == exit_status::done)
            throw Error(reason + consequence);
        say(reason + consequence);
    }

    /// Hands the fans back. Ignores an unreachable helper, since the caller already has an error to report.
    void returnFansIfReachable() {
        try {
            view_.helper().ask(requests::HandBack{});
        } catch (const HelperUnreachable&) {
            return;
        }
    }

    /// Prints a sentence. If a command runs during the hold, uses standard error, since standard output belongs to the
    /// command.
    void say(const std::string& sentence) {
        if (request_.command.empty())
            terminal_.print(visible(sentence) + "\n");
        else
            terminal_.printError("kelo: " + visible(sentence) + "\n");
    }

    void sayUnlessDrawn(const std::string& sentence) {
        if (!isDrawn_)
            say(sentence);
    }

    void report(const std::string& sentence) {
        view_.note(sentence);
        sayUnlessDrawn(sentence);
    }

    const Surroundings& surroundings_;
    Terminal& terminal_;
    const HoldRequest& request_;
    const bool isDrawn_;
    LiveView view_;
    HoldStatus status_;
    double fraction_ = 0;
    double end_ = 0;        ///< The end of the hold on the terminal's clock.
    double retryAt_ = 0;    ///< The earliest time to request the hold again, on the same clock.
    bool isLost_ = false;   ///< The helper has exited since it granted the hold.
    bool isSilent_ = false; ///< The helper has not answered the last request.
};

} // namespace

int hold(const Surroundings& surroundings, Terminal& terminal, const HoldRequest& request) {
    return Holder(surroundings, terminal, request).run();
}

} // namespace kelo::commands
