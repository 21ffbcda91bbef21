// Measures work inside the process with Google Benchmark: a tick of a hold compared with its bare exchanges, a
// snapshot, and the number of exchanges in each step of a hold.

#include <benchmark/benchmark.h>
#include <fcntl.h>

#include <cstdlib>
#include <functional>

#include "bench/machine/MachineInMemory.h"
#include "platform/linux/signing/CodeSignature.h"
#include "platform/linux/signing/TrustAnchor.h"
#include "platform/posix/FileDescriptor.h"
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

/// The fields in which read exchanges differ.
struct ReadContent {
    std::uint32_t key;
    std::uint8_t command;
    std::uint32_t size;
};

/// Makes the exchanges in `contents` and does nothing else: the minimum cost of the step from which they were recorded.
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
        machine.tick(); // fills the window of chip readings, and allocates the memory that is reused
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

/// Verifies the signature of bench_client, as the helper does when it admits a client.
void signature(benchmark::State& state) {
    const auto* client = std::getenv("KELO_CLIENT");
    const auto* anchor = std::getenv("KELO_ANCHOR");
    const FileDescriptor file(client == nullptr ? -1 : open(client, O_RDONLY | O_CLOEXEC));
    if (anchor == nullptr || !verifyCodeSignature(file.get(), TrustAnchor::load(anchor)).identity)
        return state.SkipWithError("KELO_CLIENT is not a client that KELO_ANCHOR verifies");
    for (auto _ : state)
        benchmark::DoNotOptimize(verifyCodeSignature(file.get(), TrustAnchor::load(anchor)));
}
BENCHMARK(signature);

// --- exchanges of each step, counted once

/// Counts the exchanges of a step. If `isStarted`, starts the hold first.
void countStep(benchmark::State& state, const std::function<void(MachineInMemory&, FanHold&)>& step, bool isStarted) {
    MachineInMemory machine;
    const auto hold = machine.makeHold(0.5);
    if (isStarted)
        hold->start();
    std::size_t count = 0;
    for (auto _ : state)
        count = requestsOf(machine, [&] { step(machine, *hold); }).size();
    state.counters["exchanges"] = static_cast<double>(count);
    hold->stop();
}

BENCHMARK_CAPTURE(
    countStep, Start, [](auto&, auto& hold) { hold.start(); }, false) -> Iterations(1);
BENCHMARK_CAPTURE(
    countStep, Tick, [](auto& machine, auto&) { machine.tick(); }, true) -> Iterations(1);
BENCHMARK_CAPTURE(
    countStep, Repair,
    [](auto& machine, auto&) {
        machine.controller.setNumber("F1Tg", 1200);
        machine.tick();
    },
    true) -> Iterations(1);
BENCHMARK_CAPTURE(
    countStep, Sleep, [](auto&, auto& hold) { hold.systemWillSleep(); }, true) -> Iterations(1);
BENCHMARK_CAPTURE(
    countStep, Wake,
    [](auto& machine, auto& hold) {
        hold.systemWillSleep();
        machine.controller.recorded->clear();
        hold.systemDidWake();
    },
    true) -> Iterations(1);
BENCHMARK_CAPTURE(
    countStep, Stop, [](auto&, auto& hold) { hold.stop(); }, true) -> Iterations(1);

} // namespace
} // namespace kelo::bench

BENCHMARK_MAIN(); // NOLINT: the macro comes from the library
