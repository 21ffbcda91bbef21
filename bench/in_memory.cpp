// What runs within the process, measured with Google Benchmark: the hold's tick beside its bare exchanges, a snapshot,
// and how many exchanges each step of a hold makes.

#include <benchmark/benchmark.h>

#include <functional>

#include "bench/machine/CountedAllocations.h"
#include "bench/machine/MachineInMemory.h"
#include "protocol/FanSnapshot.h"

namespace kelo::bench {
namespace {

/// A machine on which a hold is in force and nothing needs repair.
struct QuietMachine : MachineInMemory {
    QuietMachine() { hold->start(); }
    ~QuietMachine() { hold->stop(); }
    QuietMachine(const QuietMachine&) = delete;
    QuietMachine& operator=(const QuietMachine&) = delete;

    const std::shared_ptr<FanHold> hold = makeHold(0.5);
};

std::vector<SMCKeyData> requestsOf(MachineInMemory& machine, const std::function<void()>& step) {
    std::vector<SMCKeyData> requests;
    machine.controller.recorded = &requests;
    step();
    machine.controller.recorded = nullptr;
    return requests;
}

/// What differs from one reading exchange to the next.
struct ReadContent {
    std::uint32_t key;
    std::uint8_t command;
    std::uint32_t size;
};

/// Makes these exchanges, each with its two records, and nothing else: the limit for the step that they are of.
void exchangeAll(SMCExchange& controller, const std::vector<ReadContent>& contents) {
    for (const auto& [key, command, size] : contents) {
        SMCKeyData request{};
        request.key = key;
        request.data8 = command;
        request.keyInfo.dataSize = size;
        SMCKeyData reply{};
        benchmark::DoNotOptimize(controller.exchange(1, request, reply));
        benchmark::DoNotOptimize(reply);
    }
}

void quietTick(benchmark::State& state) {
    QuietMachine machine;
    for (int i = 0; i < 10; ++i)
        machine.tick(); // the window of chip readings is full, and what is kept has been allocated
    const auto allocated = allocationsSoFar();
    const auto exchanged = machine.controller.exchanges;
    for (auto _ : state)
        machine.tick();
    const auto ticks = static_cast<double>(state.iterations());
    state.counters["allocations"] = static_cast<double>(allocationsSoFar() - allocated) / ticks;
    state.counters["exchanges"] = static_cast<double>(machine.controller.exchanges - exchanged) / ticks;
}
BENCHMARK(quietTick);

void bareExchangesOfTick(benchmark::State& state) {
    QuietMachine machine;
    std::vector<ReadContent> contents;
    for (const auto& request : requestsOf(machine, [&] { machine.tick(); }))
        contents.push_back({request.key, request.data8, request.keyInfo.dataSize});
    for (auto _ : state)
        exchangeAll(machine.controller, contents);
    state.counters["exchanges"] = static_cast<double>(contents.size());
}
BENCHMARK(bareExchangesOfTick);

void snapshotToText(benchmark::State& state) {
    const FanSnapshot snapshot{.fanCount = 2,
                               .currentRPM = 3014.5,
                               .minRPM = 1200,
                               .maxRPM = 6000,
                               .targetRPM = 3000,
                               .underKeloControl = true,
                               .warmth = "cool",
                               .chipCelsius = 45.5,
                               .addingAir = false,
                               .lidHasFan = false};
    for (auto _ : state)
        benchmark::DoNotOptimize(snapshot.encoded());
}
BENCHMARK(snapshotToText);

// --- exchanges of each step, counted once

void countStep(benchmark::State& state, MachineInMemory& machine, const std::function<void()>& step) {
    std::size_t count = 0;
    for (auto _ : state)
        count = requestsOf(machine, step).size();
    state.counters["exchanges"] = static_cast<double>(count);
}

void exchangesOfStart(benchmark::State& state) {
    MachineInMemory machine;
    const auto hold = machine.makeHold(0.5);
    countStep(state, machine, [&] { hold->start(); });
    hold->stop();
}
BENCHMARK(exchangesOfStart)->Iterations(1);

void exchangesOfTick(benchmark::State& state) {
    QuietMachine machine;
    countStep(state, machine, [&] { machine.tick(); });
}
BENCHMARK(exchangesOfTick)->Iterations(1);

void exchangesOfRepair(benchmark::State& state) {
    QuietMachine machine;
    machine.controller.setNumber("F1Tg", 1200);
    countStep(state, machine, [&] { machine.tick(); });
}
BENCHMARK(exchangesOfRepair)->Iterations(1);

void exchangesOfSleep(benchmark::State& state) {
    QuietMachine machine;
    countStep(state, machine, [&] { machine.hold->systemWillSleep(); });
}
BENCHMARK(exchangesOfSleep)->Iterations(1);

void exchangesOfWake(benchmark::State& state) {
    QuietMachine machine;
    machine.hold->systemWillSleep();
    countStep(state, machine, [&] { machine.hold->systemDidWake(); });
}
BENCHMARK(exchangesOfWake)->Iterations(1);

void exchangesOfStop(benchmark::State& state) {
    MachineInMemory machine;
    const auto hold = machine.makeHold(0.5);
    hold->start();
    countStep(state, machine, [&] { hold->stop(); });
}
BENCHMARK(exchangesOfStop)->Iterations(1);

} // namespace
} // namespace kelo::bench

BENCHMARK_MAIN(); // NOLINT: the library's own
