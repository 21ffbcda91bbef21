#include <cstdio>
#include <cstring>
#include <map>

#include "prove/faults/Scenarios.h"

using namespace kelo;

namespace {

using Kind = ExchangeFault::Kind;
using Reach = ExchangeFault::Reach;

constexpr int shownInFull = 3; // broken runs; more would not help anybody

std::vector<Machine> allMachines() {
    std::vector<Machine> machines;
    for (const int fans : {1, 2, 3})
        for (const auto unlock : {Machine::Unlock::noSwitch, Machine::Unlock::notNeeded, Machine::Unlock::needed})
            for (const auto speedType : {smc_type::flt, smc_type::fpe2})
                machines.push_back({fans, unlock, speedType});
    return machines;
}

/// Few enough for every test run.
std::vector<Machine> briefMachines() {
    return {{1, Machine::Unlock::noSwitch, smc_type::fpe2}, {2, Machine::Unlock::needed, smc_type::flt}};
}

std::string textOf(const ExchangeFault& fault) {
    const char* const kinds[] = {"fails", "is refused its key info", "is answered with a result byte", "is late"};
    const char* const reaches[] = {"once", "from then on", "from then on for its key"};
    return "exchange " + std::to_string(fault.from) + " " + kinds[static_cast<int>(fault.kind)] + ", " +
           reaches[static_cast<int>(fault.reach)];
}

struct Figures {
    int exchanges = 0;
    int faults = 0; ///< Different ones; each is a run.
    int broken = 0;
};

/// Every fault that can meet an exchange.
class Faults {
public:
    void prove(const Machine& machine, const Scenario& scenario) {
        const auto commands = undisturbed(machine, scenario);
        auto& figures = figures_[scenario.name];
        figures.exchanges += static_cast<int>(commands.size());
        for (int from = 0; from < static_cast<int>(commands.size()); ++from) {
            const bool isKeyInfo = commands[static_cast<std::size_t>(from)] == SMCCommand::readKeyInfo;
            for (const auto kind : {Kind::fails, isKeyInfo ? Kind::keyInfoRefused : Kind::resultByte, Kind::late})
                for (const auto reach : {Reach::once, Reach::fromThenOn, Reach::fromThenOnForKey}) {
                    ++figures.faults;
                    perform(machine, scenario, ExchangeFault{kind, reach, from});
                }
        }
    }

    int print(std::size_t machines) const {
        std::printf("%-24s %10s %10s %10s\n", "scenario", "exchanges", "runs", "broken");
        Figures all;
        for (const auto& scenario : Scenario::all()) {
            const auto& [exchanges, runs, broken] = figures_.at(scenario.name);
            std::printf("%-24s %10d %10d %10d\n", scenario.name.c_str(), exchanges, runs, broken);
            all = {all.exchanges + exchanges, all.faults + runs, all.broken + broken};
        }
        std::printf("%zu scenarios on %zu machines x %d exchanges x 9 faults = %d runs, broken %d\n",
                    Scenario::all().size(), machines, all.exchanges, all.faults, all.broken);
        return all.faults > 0 && all.broken == 0 ? 0 : 1;
    }

private:
    /// Returns what command each exchange was that a fault may meet.
    std::vector<SMCCommand> undisturbed(const Machine& machine, const Scenario& scenario) {
        const auto tape = perform(machine, scenario, std::nullopt);
        std::vector<SMCCommand> commands;
        for (const auto& entry : tape)
            if (entry.isExchange())
                commands.push_back(static_cast<SMCCommand>(entry.smc.request.data8));
        return commands;
    }

    /// Returns what happened after faults began.
    std::vector<TapeEntry> perform(const Machine& machine, const Scenario& scenario,
                                   std::optional<ExchangeFault> fault) {
        Run run(machine, fault);
        scenario.prepare(run);
        const auto begin = static_cast<std::ptrdiff_t>(run.daemon.tape.size());
        run.beginFaults();
        scenario.act(run);
        run.end(scenario.handBacksAtEnd);
        const auto& tape = run.daemon.tape.entries();
        if (!run.broken().empty())
            report(machine, scenario, fault, run);
        return {tape.begin() + begin, tape.end()};
    }

    void report(const Machine& machine, const Scenario& scenario, std::optional<ExchangeFault> fault, const Run& run) {
        ++figures_[scenario.name].broken;
        if (++reported_ > shownInFull)
            return;
        std::printf("BROKEN: %s on %s: %s\n", scenario.name.c_str(), machine.name().c_str(),
                    fault ? textOf(*fault).c_str() : "undisturbed");
        for (const auto& entry : run.daemon.tape.entries())
            std::printf("    %s\n", entry.text().c_str());
        for (const auto& what : run.broken())
            std::printf("  %s\n", what.c_str());
    }

    std::map<std::string, Figures> figures_;
    int reported_ = 0;
};

} // namespace

/// Meets every exchange of every scenario with every fault.
int main(int count, char** arguments) {
    const bool isBrief = count == 2 && std::strcmp(arguments[1], "--brief") == 0;
    if (count > 1 && !isBrief) {
        std::fputs("usage: prove_faults [--brief]\n", stderr);
        return 2;
    }
    const auto machines = isBrief ? briefMachines() : allMachines();
    Faults faults;
    for (const auto& machine : machines)
        for (const auto& scenario : Scenario::all())
            faults.prove(machine, scenario);
    return faults.print(machines.size());
}
