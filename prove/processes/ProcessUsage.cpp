#include "prove/processes/ProcessUsage.h"

#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>
#include <system_error>

namespace kelo {
namespace {

/// The sum of the numbers in all lines that begin with `name`.
long sumOf(const std::filesystem::path& path, const std::string& name) {
    std::ifstream file(path);
    if (!file)
        throw std::runtime_error("cannot read " + path.string());
    long sum = 0;
    for (std::string line; std::getline(file, line);)
        if (line.starts_with(name))
            sum += std::stol(line.substr(line.find(':') + 1));
    return sum;
}

} // namespace

ProcessUsage ProcessUsage::of(pid_t process) {
    const auto folder = std::filesystem::path("/proc") / std::to_string(process);
    return {
        .residentKiB = sumOf(folder / "status", "VmRSS:"),
        .anonymousKiB = sumOf(folder / "smaps_rollup", "Anonymous:"),
        .descriptors = std::distance(std::filesystem::directory_iterator(folder / "fd"), {}),
        .threads = sumOf(folder / "status", "Threads:"),
    };
}

long ProcessUsage::openFiles(pid_t process, const std::string& target) {
    long count = 0;
    for (const auto& entry : std::filesystem::directory_iterator("/proc/" + std::to_string(process) + "/fd")) {
        std::error_code closedMeanwhile;
        count += std::filesystem::read_symlink(entry, closedMeanwhile) == target ? 1 : 0;
    }
    return count;
}

} // namespace kelo
