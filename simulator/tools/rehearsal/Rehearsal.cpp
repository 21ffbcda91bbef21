#include "simulator/tools/rehearsal/Rehearsal.h"

#include <algorithm>
#include <cmath>
#include <csignal>
#include <cstdio>
#include <thread>

namespace kelo {
namespace {

constexpr double lookInterval = 0.25; // seconds
constexpr double printInterval = 1.0;
constexpr double askedFraction = 0.5;
// Speeds up the heating of the chip, which would otherwise take minutes, but not the fans.
constexpr const char* heatSpeed = "12";

bool isAnyManual(const nlohmann::json& mac) {
    return std::any_of(mac["fans"].begin(), mac["fans"].end(),
                       [](const auto& fan) { return fan["isManual"].template get<bool>(); });
}

bool isEveryManual(const nlohmann::json& mac) {
    return std::all_of(mac["fans"].begin(), mac["fans"].end(),
                       [](const auto& fan) { return fan["isManual"].template get<bool>(); });
}

double rpmOf(const nlohmann::json& fan, double fraction) {
    const auto min = fan["minRPM"].get<double>();
    return min + (fan["maxRPM"].get<double>() - min) * fraction;
}

/// Whether every fan turns at `fraction` of its range, within 2 percent of the range.
bool areFansAt(const nlohmann::json& mac, double fraction) {
    return std::all_of(mac["fans"].begin(), mac["fans"].end(), [&](const auto& fan) {
        return std::fabs(fan["currentRPM"].template get<double>() - rpmOf(fan, fraction)) <=
               rpmOf(fan, 0.02) - rpmOf(fan, 0);
    });
}

bool isFirstFanAbove(const nlohmann::json& mac, double fraction) {
    return mac["fans"][0]["currentRPM"].get<double>() > rpmOf(mac["fans"][0], fraction);
}

std::string speedOption(double speed) {
    char text[32];
    std::snprintf(text, sizeof text, "%g", speed);
    return text;
}

} // namespace

Rehearsal::Rehearsal(const std::filesystem::path& folder, const Profile& profile, double speed)
    : profile_(profile), speed_(speed), installation_(folder) {
    installation_.startMac({"--profile", profile.name, "--heat-speed", heatSpeed, "--speed", speedOption(speed)});
    installation_.startListeningHelper();
}

Rehearsal::~Rehearsal() = default;

int Rehearsal::play() {
    start_ = std::chrono::steady_clock::now();
    idle();
    if (canBeHeld())
        playHold();
    else
        beRefused();
    stopHelper();
    return static_cast<int>(
        std::count_if(promises_.begin(), promises_.end(), [](const auto& promise) { return !promise.isKept; }));
}

void Rehearsal::playHold() {
    onlooker_.emplace(installation_.program("kelo"));
    hold();
    heat();
    interfere();
    if (profile_.hasLid)
        closeLid();
    sleepAndWake();
    watched_ = onlooker_->data();
    onlooker_.reset(); // the onlooker also counts as a client
    loseClient();
}

bool Rehearsal::canBeHeld() const {
    const bool hasRange = std::any_of(profile_.fans.begin(), profile_.fans.end(),
                                      [](const auto& range) { return range.minRPM < range.maxRPM; });
    return hasRange && profile_.name != "refusing";
}

void Rehearsal::idle() {
    begin("The helper waits. The system controls the fans itself.", "idle");
    watchFor(3);
    promise("without a hold no fan is touched", !isAnyManual(look()));
}

void Rehearsal::hold() {
    begin("A client asks for half of the fans' range, and for hand-back while the lid is closed.", "hold at 50 %");
    client_ = installation_.start("kelo", {"hold", "50%", "--hand-back-on-lid-close"});
    isAsked_ = true;
    const bool isHeld =
        watchUntil([](const auto& mac) { return isEveryManual(mac) && areFansAt(mac, askedFraction); }, 16);
    promise("every fan is held at half of its range", isHeld);
}

void Rehearsal::beRefused() {
    begin("A client asks for half of the fans' range.", "hold at 50 %");
    client_ = installation_.start("kelo", {"hold", "50%"});
    watchUntil([&](const auto&) { return client_->status().has_value(); }, 6);
    for (const auto& text : {client_->output(), client_->errors()})
        say(text);
    promise("no fan is left in manual mode", !isAnyManual(look()));
    client_.reset();
}

void Rehearsal::heat() {
    begin("The chip runs at full load.", "full load");
    installation_.simmac({"load", "1"});
    const bool isAdding = watchForLog("[NOTICE] service: hold: addingAir", 25);
    const bool isFaster = watchUntil([](const auto& mac) { return isFirstFanAbove(mac, askedFraction + 0.02); }, 6);
    promise("a hot chip makes the fans faster than requested", isAdding && isFaster);
    watchFor(10); // long enough that the fans, and not the end of the load, stop the heating
    begin("The load ends.", "rest");
    installation_.simmac({"load", "0"});
    promise("afterwards the fans slow down gradually to the requested speed",
            watchForLog("[NOTICE] service: hold: backToAsked", 40) &&
                watchUntil([](const auto& mac) { return areFansAt(mac, askedFraction); }, 8));
}

void Rehearsal::interfere() {
    begin("Another program gives a fan back to the system.", "another program");
    installation_.simmac({"interfere", std::to_string(profile_.fans.size() - 1), "auto"});
    promise("the helper takes the fan again within two seconds",
            watchForLog("[NOTICE] service: hold: reasserted", 4) && isEveryManual(look()));
    watchFor(2);
}

void Rehearsal::closeLid() {
    begin("The lid closes.", "lid closed");
    const double from = elapsed();
    installation_.simmac({"lid", "close"});
    promise("the fans are handed back within two seconds",
            watchForLog("[NOTICE] service: hold: yielded", 3) && !isAnyManual(look()));
    watchFor(2);
    begin("The lid opens.", "lid open");
    timeline_.span(from, elapsed(), "lid");
    installation_.simmac({"lid", "open"});
    promise("the helper takes the fans again",
            watchForLog("[NOTICE] service: hold: resumed", 6) && isEveryManual(look()));
    watchFor(2);
}

void Rehearsal::sleepAndWake() {
    begin("The Mac goes to sleep.", "sleep");
    const double from = elapsed();
    const auto report = installation_.simmac({"sleep"});
    say(report);
    promise("every fan was automatic before the Mac slept",
            report.find("1 client(s) acknowledged") != std::string::npos && report.find("manual") == std::string::npos);
    watchFor(3);
    begin("The Mac wakes.", "wake");
    timeline_.span(from, elapsed(), "sleep");
    installation_.simmac({"wake"});
    promise("the helper takes the fans again",
            watchForLog("[NOTICE] service: hold: resumed", 6) && isEveryManual(look()));
    watchFor(3);
}

void Rehearsal::loseClient() {
    begin("The client dies.", "client killed");
    client_->signal(SIGKILL);
    isAsked_ = false;
    const bool isNoticed = watchForLog("[NOTICE] service: Last client disconnected", 2);
    const double left = elapsed();
    const bool isHandedBack = watchForLog("[NOTICE] service: Fan handed back to macOS", 10);
    const double waited = elapsed() - left;
    timeline_.mark(elapsed(), "handed back");
    promise("the fans are handed back eight seconds after the last client has disconnected",
            isNoticed && isHandedBack && std::fabs(waited - 8) < 1 && !isAnyManual(look()));
    watchFor(2);
}

void Rehearsal::stopHelper() {
    begin("The helper is asked to stop.", "SIGTERM");
    installation_.helper().signal(SIGTERM);
    const auto status = installation_.helper().waitForEnd(10);
    showNewLogLines();
    promise("the helper hands the fans back and exits with status 0", status == 0 && !isAnyManual(look()));
}

void Rehearsal::printSummary() const {
    std::printf("\n    when   promise\n");
    for (const auto& [seconds, text, isKept] : promises_)
        std::printf("%6.1f s   %s  %s\n", seconds, isKept ? "kept   " : "BROKEN ", text.c_str());
    const auto kept = std::count_if(promises_.begin(), promises_.end(), [](const auto& p) { return p.isKept; });
    std::printf("\n%d promises kept, %d broken.\n", static_cast<int>(kept),
                static_cast<int>(promises_.size()) - static_cast<int>(kept));
}

PictureData Rehearsal::data() const {
    std::string clocks = "Real processes on a simulated Mac (" + profile_.name + "), whose chip heats and cools " +
                         heatSpeed + " times as fast as a real one";
    if (speed_ != 1)
        clocks += ", and whose clock runs " + speedOption(speed_) + " times as fast";
    return timeline_.data({clocks + ".",
                           "The helper notices a closed lid or another program's change within 2 seconds. Sleep "
                           "waits until the fans are handed back."});
}

void Rehearsal::begin(const std::string& title, const std::string& mark) {
    showNewLogLines();
    std::printf("\n%5.1f s  %s\n", elapsed(), title.c_str());
    timeline_.mark(elapsed(), mark);
    firstLogLine_ = shownLogLines_;
    lastPrint_ = -printInterval;
    look();
}

void Rehearsal::say(const std::string& text) {
    std::size_t begin = 0;
    for (std::size_t end = text.find('\n'); end != std::string::npos; begin = end + 1, end = text.find('\n', begin))
        std::printf("%5.1f s    %s\n", elapsed(), text.substr(begin, end - begin).c_str());
}

void Rehearsal::promise(const std::string& text, bool isKept) {
    showNewLogLines();
    std::printf("%5.1f s  %s  %s\n", elapsed(), isKept ? "PASS" : "FAIL", text.c_str());
    std::fflush(stdout);
    promises_.push_back({elapsed(), text, isKept});
}

bool Rehearsal::watchUntil(const std::function<bool(const nlohmann::json&)>& condition, double seconds) {
    const double end = elapsed() + seconds;
    while (!condition(look())) {
        if (elapsed() >= end)
            return false;
        std::this_thread::sleep_for(std::chrono::duration<double>(lookInterval));
    }
    return true;
}

void Rehearsal::watchFor(double seconds) {
    watchUntil([](const auto&) { return false; }, seconds / speed_);
}

bool Rehearsal::watchForLog(const std::string& beginning, double seconds) {
    return watchUntil([&](const auto&) { return hasLogged(beginning); }, seconds);
}

nlohmann::json Rehearsal::look() {
    if (onlooker_)
        onlooker_->look();
    auto mac = installation_.mac();
    const double now = elapsed();
    const auto celsius = mac["temperatures"][profile_.chipKey].get<double>();
    std::vector<Timeline::FanSample> samples;
    std::string fans;
    for (const auto& fan : mac["fans"]) {
        samples.push_back(sampleOf(fan));
        char text[64];
        std::snprintf(text, sizeof text, "fan %d %5.0f RPM %-9s   ", fan["index"].get<int>(), samples.back().rpm,
                      samples.back().held ? "held" : "automatic");
        fans += text;
    }
    showNewLogLines();
    if (elapsed() - lastPrint_ >= printInterval) {
        std::printf("%5.1f s    %schip %5.1f degrees\n", elapsed(), fans.c_str(), celsius);
        std::fflush(stdout);
        lastPrint_ = elapsed();
    }
    timeline_.add(now, samples, celsius);
    return mac;
}

Timeline::FanSample Rehearsal::sampleOf(const nlohmann::json& fan) const {
    return {.rpm = fan["currentRPM"].get<double>(),
            .held = fan["isManual"].get<bool>() ? std::optional(fan["targetRPM"].get<double>()) : std::nullopt,
            .asked = isAsked_ ? std::optional(rpmOf(fan, askedFraction)) : std::nullopt,
            .maxRPM = fan["maxRPM"].get<double>()};
}

void Rehearsal::showNewLogLines() {
    const auto log = installation_.helperLog();
    for (; shownLogLines_ < log.size(); ++shownLogLines_)
        std::printf("%5.1f s    helper: %s\n", elapsed(), log[shownLogLines_].c_str());
}

/// Whether the helper has logged a line that starts with `beginning` since the step began.
bool Rehearsal::hasLogged(const std::string& beginning) const {
    const auto log = installation_.helperLog();
    return std::any_of(log.begin() + static_cast<std::ptrdiff_t>(std::min(firstLogLine_, log.size())), log.end(),
                       [&](const auto& line) { return line.starts_with(beginning); });
}

double Rehearsal::elapsed() const {
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start_).count();
}

} // namespace kelo
