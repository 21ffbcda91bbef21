#include <algorithm>
#include <fstream>
#include <map>

#include "bench/runner/Rows.h"

namespace kelo::bench {
namespace {

using Benchmarks = std::map<std::string, nlohmann::json>;

Benchmarks runOnce(const Scene& scene) {
    const auto file = scene.program("in_memory.json");
    PipedProcess process({scene.program("bench_in_memory"), "--benchmark_out=" + file, "--benchmark_out_format=json",
                          "--benchmark_min_time=0.1"});
    process.readOutput();
    if (process.wait() != 0)
        throw std::runtime_error("the benchmarks in memory fail");
    Benchmarks benchmarks;
    const auto report = nlohmann::json::parse(std::ifstream(file));
    for (const auto& benchmark : report["benchmarks"]) {
        const std::string name = benchmark["name"];
        benchmarks[name.substr(0, name.find('/'))] = benchmark;
    }
    return benchmarks;
}

} // namespace

void measureInMemory(const Scene& scene, Figures& figures) {
    // The best of all runs: what else the machine does only makes them worse.
    std::map<std::string, double> time;
    Benchmarks last;
    for (int i = 0; i < scene.count(25, 5); ++i) {
        last = runOnce(scene);
        for (const auto& [name, benchmark] : last) {
            const double nanoseconds = benchmark["cpu_time"];
            time[name] = time.contains(name) ? std::min(time[name], nanoseconds) : nanoseconds;
        }
    }
    figures.compare("memory-machine.tick", time["quietTick"], time["bareExchangesOfTick"], "ns", 2.0);
    figures.addWithTarget("memory-machine.tick.allocations", last["quietTick"]["allocations"], "per tick", 0);
    figures.add("memory-machine.snapshot-to-text", time["snapshotToText"], "ns");
    for (const std::string step : {"Start", "Tick", "Repair", "Sleep", "Wake", "Stop"})
        figures.add("exchanges." + step, last["exchangesOf" + step]["exchanges"], "exchanges");
}

} // namespace kelo::bench
