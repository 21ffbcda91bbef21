#include <algorithm>
#include <fstream>
#include <limits>
#include <map>

#include "bench/runner/Rows.h"

namespace kelo::bench {

void measureInMemory(const Scene& scene, Figures& figures) {
    const auto file = scene.program("in_memory.json");
    PipedProcess process({scene.program("bench_in_memory"), "--benchmark_out=" + file, "--benchmark_out_format=json",
                          "--benchmark_repetitions=" + std::to_string(scene.count(15, 3))});
    process.readOutput();
    if (process.wait() != 0)
        throw std::runtime_error("the benchmarks in memory fail");
    // The best of all repetitions: what else the machine does only makes them worse.
    std::map<std::string, double> time;
    std::map<std::string, nlohmann::json> last;
    for (const auto& run : nlohmann::json::parse(std::ifstream(file))["benchmarks"]) {
        if (run["run_type"] != "iteration")
            continue;
        std::string name = run["run_name"];
        name = name.substr(0, name.find('/'));
        const double nanoseconds = run["cpu_time"];
        time[name] = time.contains(name) ? std::min(time[name], nanoseconds) : nanoseconds;
        last[name] = run;
    }
    figures.compare("memory-machine.tick", time["quietTick"], time["bareExchangesOfTick"], "ns", 2.0);
    figures.addWithTarget("memory-machine.tick.allocations", last["quietTick"]["allocations"], "per tick", 0);
    figures.add("memory-machine.snapshot-to-text", time["snapshotToText"], "ns");
    for (const std::string step : {"Start", "Tick", "Repair", "Sleep", "Wake", "Stop"})
        figures.add("exchanges." + step, last["exchangesOf" + step]["exchanges"], "exchanges");
}

} // namespace kelo::bench
