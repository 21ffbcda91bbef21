// prove_processes: puts real processes under load and checks the helper's promises.

#include <CLI/CLI.hpp>
#include <functional>
#include <string>

#include "client/UsageError.h"
#include "prove/processes/Proofs.h"
#include "testing/TemporaryFolder.h"

int main(int argc, char** argv) {
    CLI::App app{"Puts real processes under load and checks the helper's promises.", "prove_processes"};
    std::string staged;
    int tries = 1000;
    unsigned seed = 1;
    double minutes = 60;
    std::string only;
    std::string data;
    app.add_option("folder", staged, "A staged installation with rawclient, and an unsigned copy of it named stranger")
        ->required()
        ->check(CLI::ExistingDirectory);
    app.require_subcommand(1);
    app.footer("Exit status: 0 every promise was kept, 1 a promise was broken, 2 incorrect usage.");
    const kelo::TemporaryFolder work;
    std::function<int()> prove;
    auto* delays = app.add_subcommand("delays", "Measures the time from SIGTERM until the last fan is automatic.");
    delays->add_option("tries", tries)->check(CLI::PositiveNumber);
    delays->add_option("--only", only, "The only situation to measure, such as \"log stalled\"");
    delays->callback([&] { prove = [&] { return kelo::proveDelays(staged, work.path(), tries, only); }; });
    auto* kill = app.add_subcommand("kill", "Ends a busy helper at random times.");
    kill->add_option("tries", tries)->check(CLI::PositiveNumber);
    kill->add_option("--seed", seed, "Seed of the first try");
    kill->add_option("--data", data, "File to write the delays to, for a picture");
    kill->callback([&] { prove = [&] { return kelo::proveKill(staged, work.path(), tries, seed, data); }; });
    auto* soak = app.add_subcommand("soak", "Measures the helper's resources while clients connect and disconnect.");
    soak->add_option("minutes", minutes)->check(CLI::PositiveNumber);
    soak->callback([&] { prove = [&] { return kelo::proveSoak(staged, work.path(), minutes); }; });
    return kelo::runProgram(app, argc, argv,
                            [&] { return prove() == 0 ? kelo::exit_status::done : kelo::exit_status::failed; });
}
