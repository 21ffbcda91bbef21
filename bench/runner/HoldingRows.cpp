#include <chrono>
#include <thread>

#include "bench/runner/ProcessFacts.h"
#include "bench/runner/Rows.h"

namespace kelo::bench {
namespace {

constexpr double tick = 2.0; // seconds; the hold's own

/// What a process does within some time.
struct Period {
    explicit Period(pid_t process) : process_(process), before_(ProcessFacts::of(process)) {}

    double processorTime() const { return ProcessFacts::of(process_).processorTime - before_.processorTime; }
    double waits() const { return static_cast<double>(ProcessFacts::of(process_).waits - before_.waits); }

private:
    pid_t process_;
    ProcessFacts before_;
};

void letPass(double seconds) { std::this_thread::sleep_for(std::chrono::duration<double>(seconds)); }

} // namespace

void measureHolding(const Scene& scene, Figures& figures) {
    const auto world = scene.startHelper();
    const auto client = scene.hold();
    const PipedProcess bare({scene.program("bench_ticker"), scene.macFolder(), std::to_string(tick)});
    letPass(2.5 * tick); // what happens only once is over, and neither ticks at the same moment as the other
    const int ticks = scene.count(30, 5);
    const Period helper(world->helper().number());
    const Period limit(bare.pid());
    letPass(ticks * tick);
    figures.compare("holding.tick", helper.processorTime() / ticks, limit.processorTime() / ticks, "us", 1.25);
    const double perMinute = 60 / (ticks * tick);
    figures.add("holding.waits", helper.waits() * perMinute, "per minute");
    figures.add("holding.waits.limit", limit.waits() * perMinute, "per minute");
}

void measureIdling(const Scene& scene, Figures& figures) {
    const auto world = scene.startHelper();
    letPass(1);
    const Period helper(world->helper().number());
    const int seconds = scene.count(60, 5);
    letPass(seconds);
    figures.addWithTarget("idling.wake-ups", helper.waits() * 60 / seconds, "per minute", 0);
    figures.add("idling.processor-time", helper.processorTime() * 60 / seconds, "us per minute");
}

} // namespace kelo::bench
