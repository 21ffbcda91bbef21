#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <map>

#include "prove/faults/Scenarios.h"

using namespace kelo;

namespace {

using Kind = ExchangeFault::Kind;
using Reach = ExchangeFault::Reach;

constexpr int shownInFull = 3; // the number of broken runs to print in full

std::vector<Machine> allMachines() {
    std::vector<Machine> machines;
    for (const int fans : {1, 2, 3})
        for (const auto unlock : {Machine::Unlock::noSwitch, Machine::Unlock::notNeeded, Machine::Unlock::needed})
            for (const auto speedType : {smc_type::flt, smc_type::fpe2})
                machines.push_back({fans, unlock, speedType});
    return machines;
}

/// A small selection for the short version, which is part of every test run.
std::vector<Machine> briefMachines() {
    return {{1, Machine::Unlock::noSwitch, smc_type::fpe2}, {2, Machine::Unlock::needed, smc_type::flt}};
}

std::string textOf(const ExchangeFault& fault) {
    const char* const kinds[] = {"fails", "gets no key info", "is answered with a result byte", "is late"};
    const char* const reaches[] = {"once", "from then on", "from then on for its key"};
    return "exchange " + std::to_string(fault.from) + " " + kinds[static_cast<int>(fault.kind)] + ", " +
           reaches[static_cast<int>(fault.reach)];
}

std::string textOf(const MemoryFault& fault) {
    return "allocation " + std::to_string(fault.from) + " fails, " + (fault.fromThenOn ? "from then on" : "once");
}

std::string current; ///< Description of the run, for `reportAbort`.

[[noreturn]] void reportAbort() {
    std::printf("BROKEN: the process was aborted in %s\n", current.c_str());
    std::fflush(stdout);
    std::abort();
}

struct Figures {
    int exchanges = 0;
    int allocations = 0;
    int runs = 0; ///< The number of runs, one for each fault.
    int broken = 0;
};

/// Runs scenarios once for each fault that can affect an exchange or an allocation.
class Faults {
public:
    void prove(const Machine& machine, const Scenario& scenario) {
        const auto [commands, allocations] = undisturbed(machine, scenario);
        auto& figures = figures_[scenario.name];
        figures.exchanges += static_cast<int>(commands.size());
        figures.allocations += allocations;
        for (int from = 0; from < static_cast<int>(commands.size()); ++from) {
            const bool isKeyInfo = commands[static_cast<std::size_t>(from)] == SMCCommand::readKeyInfo;
            for (const auto kind : {Kind::fails, isKeyInfo ? Kind::keyInfoRefused : Kind::resultByte, Kind::late})
                for (const auto reach : {Reach::once, Reach::fromThenOn, Reach::fromThenOnForKey}) {
                    ++figures.runs;
                    perform(machine, scenario, ExchangeFault{kind, reach, from}, std::nullopt);
                }
        }
        for (int from = 0; from < allocations; ++from)
            for (const bool fromThenOn : {false, true}) {
                ++figures.runs;
                perform(machine, scenario, std::nullopt, MemoryFault{from, fromThenOn});
            }
    }

    int print(std::size_t machines) const {
        std::printf("%-24s %12s %12s %10s %10s\n", "scenario", "exchanges", "allocations", "runs", "broken");
        Figures all;
        for (const auto& scenario : Scenario::all()) {
            const auto& [exchanges, allocations, runs, broken] = figures_.at(scenario.name);
            std::printf("%-24s %12d %12d %10d %10d\n", scenario.name.c_str(), exchanges, allocations, runs, broken);
            all = {all.exchanges + exchanges, all.allocations + allocations, all.runs + runs, all.broken + broken};
        }
        std::printf(
            "%zu scenarios on %zu machines: %d exchanges x 9 faults + %d allocations x 2 = %d runs, broken %d\n",
            Scenario::all().size(), machines, all.exchanges, all.allocations, all.runs, all.broken);
        return all.runs > 0 && all.broken == 0 ? 0 : 1;
    }

private:
    /// The exchanges and allocations that a fault can affect.
    struct Undisturbed {
        std::vector<SMCCommand> commands; ///< The command of each exchange.
        int allocations;
    };

    Undisturbed undisturbed(const Machine& machine, const Scenario& scenario) {
        const auto [tape, allocations] = perform(machine, scenario, std::nullopt, std::nullopt);
        std::vector<SMCCommand> commands;
        for (const auto& entry : tape)
            if (entry.isExchange())
                commands.push_back(static_cast<SMCCommand>(entry.smc.request.data8));
        return {std::move(commands), allocations};
    }

    /// Returns the tape and the number of allocations since `beginFaults`.
    std::pair<std::vector<TapeEntry>, int> perform(const Machine& machine, const Scenario& scenario,
                                                   std::optional<ExchangeFault> fault,
                                                   std::optional<MemoryFault> memoryFault) {
        const auto description = fault ? textOf(*fault) : memoryFault ? textOf(*memoryFault) : "undisturbed";
        current = scenario.name + " on " + machine.name() + ": " + description;
        Run run(machine, fault, memoryFault);
        scenario.prepare(run);
        const auto begin = static_cast<std::ptrdiff_t>(run.daemon.tape.size());
        run.beginFaults();
        scenario.act(run);
        run.end(scenario.handBacksAtEnd);
        const auto& tape = run.daemon.tape.entries();
        if (!run.broken().empty())
            report(scenario, run);
        return {{tape.begin() + begin, tape.end()}, run.allocations()};
    }

    void report(const Scenario& scenario, const Run& run) {
        ++figures_[scenario.name].broken;
        if (++reported_ > shownInFull)
            return;
        std::printf("BROKEN: %s\n", current.c_str());
        for (const auto& entry : run.daemon.tape.entries())
            std::printf("    %s\n", entry.text().c_str());
        for (const auto& what : run.broken())
            std::printf("  %s\n", what.c_str());
    }

    std::map<std::string, Figures> figures_;
    int reported_ = 0;
};

} // namespace

/// Runs every scenario once for every fault in every exchange and allocation.
int main(int count, char** arguments) {
    const bool isBrief = count == 2 && std::strcmp(arguments[1], "--brief") == 0;
    if (count > 1 && !isBrief) {
        std::fputs("usage: prove_faults [--brief]\n", stderr);
        return 2;
    }
    std::set_terminate(reportAbort);
    const auto machines = isBrief ? briefMachines() : allMachines();
    Faults faults;
    for (const auto& machine : machines)
        for (const auto& scenario : Scenario::all())
            faults.prove(machine, scenario);
    return faults.print(machines.size());
}
