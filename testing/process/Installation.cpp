#include "testing/process/Installation.h"

#include <algorithm>
#include <csignal>
#include <sstream>
#include <stdexcept>
#include <utility>

namespace kelo {
namespace {

constexpr double timeout = 90; // seconds; a Mac waits up to a minute for its clients before it sleeps

} // namespace

Installation::Installation(std::filesystem::path folder) : folder_(std::move(folder)) {
    std::filesystem::create_directories(folder_ / "log");
}

void Installation::startMac(const std::vector<std::string>& options) {
    std::vector<std::string> arguments = {"serve"};
    arguments.insert(arguments.end(), options.begin(), options.end());
    mac_ = start("simmac", arguments);
    const bool isUp =
        waitUntil([&] { return mac_->status() || mac_->output().find("is up") != std::string::npos; }, 10);
    if (!isUp || mac_->status())
        throw std::runtime_error("the simulated Mac does not come up: " + mac_->errors());
}

void Installation::stopMac() {
    mac_->signal(SIGTERM);
    mac_->waitForEnd(timeout);
    mac_.reset();
}

void Installation::startHelper() { startHelperBy(program(helperName), {}); }

void Installation::startHelper(const LaunchEnvironment& environment) {
    const auto command = environment.command(folder_);
    startHelperBy(command.front(), {command.begin() + 1, command.end()});
}

void Installation::startHelperBy(const std::filesystem::path& executable, const std::vector<std::string>& arguments) {
    helper_ = startExecutable(executable, helperName, arguments);
}

void Installation::startListeningHelper() {
    startHelper();
    if (!waitForLog("[NOTICE] listener: Listening on app.kelo.helper"))
        throw std::runtime_error("the helper does not listen: " + helper_->errors());
}

std::vector<std::string> Installation::helperLog() const {
    std::vector<std::string> lines;
    std::istringstream log(helper_->errors());
    for (std::string line; std::getline(log, line);)
        lines.push_back(line.substr(line.find(' ') + 1));
    return lines;
}

bool Installation::waitForLog(const std::string& line, double seconds, int count) const {
    return waitUntil(
        [&] {
            const auto log = helperLog();
            return std::count(log.begin(), log.end(), line) >= count;
        },
        seconds);
}

Installation::Finished Installation::run(const std::string& name, const std::vector<std::string>& arguments) {
    const auto process = start(name, arguments);
    const auto status = process->waitForEnd(timeout);
    if (!status)
        throw std::runtime_error(name + " does not end");
    return {*status, process->output(), process->errors()};
}

std::unique_ptr<ChildProcess> Installation::start(const std::string& name, const std::vector<std::string>& arguments) {
    return startExecutable(program(name), name, arguments);
}

std::unique_ptr<ChildProcess> Installation::startExecutable(const std::filesystem::path& executable,
                                                            const std::string& name,
                                                            const std::vector<std::string>& arguments) {
    // The number separates the files of different runs and sorts them by time.
    return std::make_unique<ChildProcess>(executable, arguments, folder_ / "log", std::to_string(++runs_) + "." + name);
}

std::string Installation::simmac(const std::vector<std::string>& arguments) {
    const auto [status, output, errors] = run("simmac", arguments);
    if (status != 0)
        throw std::runtime_error(errors);
    return output;
}

nlohmann::json Installation::mac() { return nlohmann::json::parse(simmac({"show", "--json"})); }

bool Installation::isAnyFanManual() {
    const auto fans = mac()["fans"];
    return std::any_of(fans.begin(), fans.end(), [](const auto& fan) { return fan["isManual"].template get<bool>(); });
}

} // namespace kelo
