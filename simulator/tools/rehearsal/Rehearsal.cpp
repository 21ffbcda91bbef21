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

bool isAnyManual(const nlohmann::json& mac) {
    return std::any_of(mac["fans"].begin(), mac["fans"].end(),
                       [](const auto& fan) { return fan["isManual"].template get<bool>(); });
}

bool isEveryManual(const nlohmann::json& mac) {
    return std::all_of(mac["fans"].begin(), mac["fans"].end(),
                       [](const auto& fan) { return fan["isManual"].template get<bool>(); });
}

/// Whether every fan turns at `fraction` of its range, give or take 2 percent of it.
bool areFansAt(const nlohmann::json& mac, double fraction) {
    return std::all_of(mac["fans"].begin(), mac["fans"].end(), [&](const auto& fan) {
        const auto min = fan["minRPM"].template get<double>();
        const auto range = fan["maxRPM"].template get<double>() - min;
        return std::fabs(fan["currentRPM"].template get<double>() - (min + range * fraction)) <= range * 0.02;
    });
}

} // namespace

Rehearsal::Rehearsal(const std::filesystem::path& folder) : installation_(folder) {
    installation_.startMac({"--heat-speed", "12"});
    installation_.startListeningHelper();
}

Rehearsal::~Rehearsal() = default;

int Rehearsal::play() {
    start_ = std::chrono::steady_clock::now();
    idle();
    hold();
    heat();
    interfere();
    closeLid();
    sleepAndWake();
    loseClient();
    stopHelper();
    std::printf("\n%d promises kept, %d broken.\n", kept_, broken_);
    return broken_;
}

void Rehearsal::idle() {
    begin("The helper waits. The system controls the fans itself.", "idle");
    watchFor(3);
    promise("without a hold no fan is touched", !isAnyManual(look()));
}

void Rehearsal::hold() {
    begin("A client asks for half of the fans' range, and for hand-back while the lid is closed.", "hold at half");
    client_ = installation_.start("kelo", {"hold", "50%", "--hand-back-on-lid-close"});
    const bool isHeld = watchUntil([](const auto& mac) { return isEveryManual(mac) && areFansAt(mac, 0.5); }, 12);
    promise("both fans are held at half of their range", isHeld);
}

void Rehearsal::heat() {
    begin("The chip works as hard as it can.", "full load");
    installation_.simmac({"load", "1"});
    const bool isAdding = watchForLog("[NOTICE] service: hold: addingAir", 25);
    const bool isFaster = watchUntil([](const auto& mac) { return mac["fans"][0]["currentRPM"] > 3700; }, 6);
    promise("a hot chip gets more air than was asked for", isAdding && isFaster);
    begin("The chip rests.", "rest");
    installation_.simmac({"load", "0"});
    promise("the added air goes away slowly, down to what was asked for",
            watchForLog("[NOTICE] service: hold: backToAsked", 40) &&
                watchUntil([](const auto& mac) { return areFansAt(mac, 0.5); }, 8));
}

void Rehearsal::interfere() {
    begin("Another program gives a fan back to the system.", "interference");
    installation_.simmac({"interfere", "1", "auto"});
    promise("the fan is taken again within a tick of two seconds",
            watchForLog("[NOTICE] service: hold: reasserted", 3) && isEveryManual(look()));
    watchFor(2);
}

void Rehearsal::closeLid() {
    begin("The lid closes.", "lid closed");
    installation_.simmac({"lid", "close"});
    promise("the fans are handed back while the lid is closed",
            watchForLog("[NOTICE] service: hold: yielded", 3) && !isAnyManual(look()));
    watchFor(1);
    begin("The lid opens.", "lid open");
    installation_.simmac({"lid", "open"});
    promise("the fans are taken again", watchForLog("[NOTICE] service: hold: resumed", 3) && isEveryManual(look()));
}

void Rehearsal::sleepAndWake() {
    begin("The Mac goes to sleep.", "sleep");
    const auto report = installation_.simmac({"sleep"});
    say(report);
    promise("every fan was automatic when the helper let the Mac sleep",
            report.find("1 client(s) acknowledged") != std::string::npos && report.find("manual") == std::string::npos);
    watchFor(2);
    begin("The Mac wakes.", "wake");
    installation_.simmac({"wake"});
    promise("the fans are taken again", watchForLog("[NOTICE] service: hold: resumed", 3) && isEveryManual(look()));
    watchFor(1);
}

void Rehearsal::loseClient() {
    begin("The client dies.", "client killed");
    client_->signal(SIGKILL);
    const bool isNoticed = watchForLog("[NOTICE] service: Last client disconnected", 2);
    const double left = elapsed();
    const bool isHandedBack = watchForLog("[NOTICE] service: Fan handed back to macOS", 10);
    const double waited = elapsed() - left;
    promise("the fans are handed back eight seconds after the last client has gone",
            isNoticed && isHandedBack && std::fabs(waited - 8) < 1 && !isAnyManual(look()));
    watchFor(2);
}

void Rehearsal::stopHelper() {
    begin("The helper is asked to stop.", "SIGTERM");
    installation_.helper().signal(SIGTERM);
    const auto status = installation_.helper().waitForEnd(10);
    showNewLogLines();
    promise("it hands back on the way out and exits with status 0", status == 0 && !isAnyManual(look()));
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
    ++(isKept ? kept_ : broken_);
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
    watchUntil([](const auto&) { return false; }, seconds);
}

bool Rehearsal::watchForLog(const std::string& beginning, double seconds) {
    return watchUntil([&](const auto&) { return hasLogged(beginning); }, seconds);
}

nlohmann::json Rehearsal::look() {
    auto mac = installation_.mac();
    Timeline::Sample sample{elapsed(), {}, mac["temperatures"]["Tp09"].get<double>()};
    std::string fans;
    for (const auto& fan : mac["fans"]) {
        sample.fans.push_back({fan["currentRPM"].get<double>(), fan["isManual"].get<bool>()});
        char text[64];
        std::snprintf(text, sizeof text, "fan %d %5.0f RPM %-9s   ", fan["index"].get<int>(), sample.fans.back().rpm,
                      sample.fans.back().isManual ? "held" : "automatic");
        fans += text;
    }
    showNewLogLines();
    if (elapsed() - lastPrint_ >= printInterval) {
        std::printf("%5.1f s    %schip %5.1f degrees\n", elapsed(), fans.c_str(), sample.chipCelsius);
        std::fflush(stdout);
        lastPrint_ = elapsed();
    }
    timeline_.add(std::move(sample));
    return mac;
}

void Rehearsal::showNewLogLines() {
    const auto log = installation_.helperLog();
    for (; shownLogLines_ < log.size(); ++shownLogLines_)
        std::printf("%5.1f s    helper: %s\n", elapsed(), log[shownLogLines_].c_str());
}

/// Whether the helper has logged such a line since the step began.
bool Rehearsal::hasLogged(const std::string& beginning) const {
    const auto log = installation_.helperLog();
    return std::any_of(log.begin() + static_cast<std::ptrdiff_t>(std::min(firstLogLine_, log.size())), log.end(),
                       [&](const auto& line) { return line.starts_with(beginning); });
}

double Rehearsal::elapsed() const {
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start_).count();
}

} // namespace kelo
