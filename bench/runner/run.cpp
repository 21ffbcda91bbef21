// Measures what the helper costs, beside what the same work costs at least.
//
// usage: bench_run INSTALLATION PROGRAMS JSON [--brief] [NAME...]: a staged installation in which nothing runs, the
// folder of the bare limits, and where the figures go. Without a name everything is measured but the peers.

#include <sched.h>
#include <sys/utsname.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <exception>
#include <fstream>
#include <string>
#include <utility>
#include <vector>

#include "bench/runner/Rows.h"

namespace kelo::bench {
namespace {

using Measure = void (*)(const Scene& scene, Figures& figures);

constexpr std::pair<const char*, Measure> rows[] = {
    {"memory-machine", measureInMemory},
    {"holding", measureHolding},
    {"requests", measureRequests},
    {"connecting", measureConnecting},
    {"clients", measureClients},
    {"idling", measureIdling},
    {"memory", measureMemory},
    {"start", measureStart},
    {"hand-back", measureHandBack},
    {"size", measureSize},
    {"peers", measurePeers},
};

bool isWanted(const std::string& row, const std::vector<std::string>& names) {
    return names.empty() ? row != "peers" : std::find(names.begin(), names.end(), row) != names.end();
}

std::string firstLineOf(const std::string& file, const std::string& key = "") {
    std::ifstream lines(file);
    for (std::string line; std::getline(lines, line);)
        if (line.starts_with(key))
            return line;
    return "unknown";
}

/// What else the machine does, without which no absolute figure means anything.
nlohmann::ordered_json machine() {
    utsname system{};
    uname(&system);
    const auto model = firstLineOf("/proc/cpuinfo", "model name");
    return {{"processors", sysconf(_SC_NPROCESSORS_ONLN)},
            {"model", model.substr(model.find(':') + 1)},
            {"system", std::string(system.sysname) + " " + system.release},
            {"governor", firstLineOf("/sys/devices/system/cpu/cpu0/cpufreq/scaling_governor")},
            {"load", firstLineOf("/proc/loadavg")}};
}

/// Everything that is measured, and what it is measured with, runs on the last processor: the first has the interrupts.
void keepToOneProcessor() {
    cpu_set_t one;
    CPU_ZERO(&one);
    CPU_SET(static_cast<unsigned>(sysconf(_SC_NPROCESSORS_ONLN)) - 1, &one);
    sched_setaffinity(0, sizeof one, &one);
}

int run(const std::vector<std::string>& arguments) {
    std::vector<std::string> names(arguments.begin() + 3, arguments.end());
    const bool isBrief = std::erase(names, "--brief") > 0;
    for (const auto& name : names)
        if (std::none_of(std::begin(rows), std::end(rows), [&](const auto& row) { return row.first == name; })) {
            std::fprintf(stderr, "bench: there is nothing to measure of the name \"%s\"; there are", name.c_str());
            for (const auto& row : rows)
                std::fprintf(stderr, " %s", row.first);
            std::fprintf(stderr, "\n");
            return 2;
        }
    keepToOneProcessor();
    const Scene scene(arguments[0], arguments[1], isBrief);
    Figures figures;
    nlohmann::ordered_json report = {{"picture", "targets"}, {"brief", isBrief}, {"before", machine()}};
    std::printf("%s\n", report.dump(2).c_str());
    for (const auto& [name, measure] : rows)
        if (isWanted(name, names))
            measure(scene, figures);
    report["after"] = machine();
    report["figures"] = figures.json();
    std::ofstream(arguments[2]) << report.dump(2) << "\n";
    return 0;
}

} // namespace
} // namespace kelo::bench

int main(int argc, char** argv) {
    if (argc < 4) {
        std::fprintf(stderr, "usage: bench_run INSTALLATION PROGRAMS JSON [--brief] [NAME...]\n");
        return 2;
    }
    try {
        return kelo::bench::run({argv + 1, argv + argc});
    } catch (const std::exception& error) {
        std::fprintf(stderr, "bench: %s\n", error.what());
        return 1;
    }
}
