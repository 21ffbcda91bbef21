#include "bench/runner/ProcessFacts.h"
#include "bench/runner/Rows.h"

namespace kelo::bench {
namespace {

void addMemory(Figures& figures, const std::string& state, pid_t helper) {
    const auto facts = ProcessFacts::of(helper);
    figures.add("memory." + state + ".private", facts.privateMemory, "KiB");
    figures.addWithTarget("memory." + state + ".private-without-libraries", facts.privateToItself, "KiB", 1024);
    figures.add("memory." + state + ".anonymous", facts.anonymous, "KiB");
    figures.add("memory." + state + ".resident", facts.resident, "KiB");
}

} // namespace

void measureMemory(const Scene& scene, Figures& figures) {
    const auto world = scene.startHelper();
    const auto helper = world->helper().number();
    addMemory(figures, "idle", helper);
    {
        const auto client = scene.hold();
        addMemory(figures, "holding", helper);
    }
    scene.ask(Scene::serviceSocket, {"version", "5000"});
    scene.ask(Scene::serviceSocket, {"snapshot", "5000"});
    addMemory(figures, "after-10000-requests", helper);

    // What a program that does nothing has of its own as soon as the same libraries are loaded.
    PipedProcess empty({scene.program("bench_empty"), "stay"});
    empty.readErrorLine();
    figures.add("memory.empty-program.private-without-libraries", ProcessFacts::of(empty.pid()).privateToItself, "KiB");
}

} // namespace kelo::bench
