#include "prove/processes/StagedMac.h"

#include <fcntl.h>

#include <algorithm>
#include <stdexcept>
#include <utility>

#include "platform/posix/FileDescriptor.h"

namespace kelo {
namespace {

constexpr double startTimeout = 30; // seconds

bool isPresent(const std::filesystem::path& path) {
    std::error_code error;
    return std::filesystem::exists(path, error);
}

/// Whether the last write of the fan's mode made the fan manual. `writes` contains only the helper's changes.
bool isTaken(const hardware_calls::MacState& mac, int fan) {
    const auto key = "F" + std::to_string(fan) + "Md";
    const auto last =
        std::find_if(mac.writes.rbegin(), mac.writes.rend(), [&](const auto& write) { return write.key == key; });
    return last != mac.writes.rend() && last->bytes.at(0) != 0;
}

/// The time of the first hand-back after `start`. If the fan was taken again later, returns the time of the first
/// hand-back after it was last taken.
double automaticSince(const hardware_calls::MacState& mac, int fan, double start) {
    const auto key = "F" + std::to_string(fan) + "Md";
    double since = start;
    bool isManual = true;
    for (const auto& write : mac.writes) {
        if (write.key != key || write.time < start)
            continue;
        const bool takes = write.bytes.at(0) != 0;
        if (isManual && !takes)
            since = write.time;
        isManual = takes;
    }
    return since;
}

} // namespace

StagedMac::StagedMac(std::filesystem::path staged, const std::filesystem::path& folder, const std::string& profile)
    : staged_(std::move(staged)), installation_(folder) {
    for (const char* program : {Installation::helperName, "kelo", "simmac", "rawclient", "stranger"})
        install(program);
    const auto mac = installation_.program(SimulatedMacFolder::name);
    std::filesystem::create_directory(mac);
    std::filesystem::permissions(mac, std::filesystem::perms(0700));
    std::filesystem::copy(staged_ / SimulatedMacFolder::name / SimulatedMacFolder::anchorName, mac);
    installation_.startMac({"--profile", profile});
    const FileDescriptor opened(open(folder.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
    macFolder_ = std::make_unique<SimulatedMacFolder>(opened.get());
    link_ = HardwareLink::connect(macFolder_->descriptor());
    if (!link_)
        throw std::runtime_error("the simulated Mac does not accept connections");
}

/// Copies the program in a separate process. If this process copied it, a child that another thread forks meanwhile
/// would inherit the descriptor, and a program that is open for writing cannot be started.
void StagedMac::install(const std::string& program) {
    const auto copy = installation_.program(program + ".new");
    ChildProcess copying("/bin/cp", {staged_ / program, copy}, installation_.folder() / "log", "cp");
    if (copying.waitForEnd(startTimeout) != 0)
        throw std::runtime_error("cannot copy " + program + ": " + copying.errors());
    std::filesystem::rename(copy, installation_.program(program));
}

void StagedMac::startHelper(const LaunchEnvironment& environment, double seconds) {
    const auto socket = installation_.program("app.kelo.helper.socket");
    std::filesystem::remove(socket); // an earlier helper's socket would be mistaken for the new helper's
    installation_.startHelper(environment);
    const bool isUp = waitUntil([&] { return isPresent(socket) || helper().status(); }, seconds);
    if (!isUp || helper().status())
        throw std::runtime_error("the helper does not listen: " + helper().errors());
}

std::unique_ptr<ChildProcess> StagedMac::startHold(double seconds) {
    auto client = installation_.start("kelo", {"hold", "0.5"});
    const auto holds = [&] { return client->output().find("Holding") != std::string::npos; };
    waitUntil([&] { return holds() || client->status() || helper().status(); }, seconds);
    if (!holds())
        throw std::runtime_error("no hold: " + client->errors() + helper().errors());
    return client;
}

bool StagedMac::isAnyFanManual() {
    const auto fans = call(hardware_calls::Show{}).fans;
    return std::any_of(fans.begin(), fans.end(), [](const auto& fan) { return fan.isManual; });
}

bool StagedMac::isAnyFanHeld() {
    const auto mac = call(hardware_calls::Show{});
    return std::any_of(mac.fans.begin(), mac.fans.end(),
                       [&](const auto& fan) { return fan.isManual && isTaken(mac, fan.index); });
}

double untilAutomatic(const hardware_calls::MacState& mac, double start) {
    double last = start;
    for (const auto& fan : mac.fans)
        last = std::max(last, automaticSince(mac, fan.index, start));
    return last - start;
}

} // namespace kelo
