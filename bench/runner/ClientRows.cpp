#include "bench/runner/ProcessFacts.h"
#include "bench/runner/Rows.h"

namespace kelo::bench {

/// On a helper that lets more clients in than it does otherwise.
void measureClients(const Scene& scene, Figures& figures) {
    const auto world = scene.startMac();
    PipedProcess helper({scene.installed("bench_many_clients")});
    while (helper.readErrorLine().find("Listening on") == std::string::npos) {
    }
    { // first: memory that was used before would be used again
        constexpr int many = 1000;
        const auto before = ProcessFacts::of(helper.pid()).privateMemory;
        const auto clients = scene.stay(many);
        figures.addWithTarget("clients.memory", (ProcessFacts::of(helper.pid()).privateMemory - before) / many,
                              "KiB per client", 8);
    }
    const auto count = std::to_string(scene.count(20'000, 3'000));
    double alone = 0;
    for (const int clients : {1, 10, 100, 1000}) {
        const auto times = scene.ask(Scene::serviceSocket, {"poll", std::to_string(clients), count});
        const auto name = "clients." + std::to_string(clients);
        const auto throughput = 1e9 / times["mean"].get<double>();
        figures.add(name + ".throughput", throughput, "replies per second");
        figures.add(name + ".p50", times["p50"].get<double>() / 1000, "us");
        figures.add(name + ".p99", times["p99"].get<double>() / 1000, "us");
        if (clients == 1)
            alone = throughput;
        else
            figures.addWithTarget(name + ".slowdown", 100 * (1 - throughput / alone), "percent", 20);
    }
}

} // namespace kelo::bench
