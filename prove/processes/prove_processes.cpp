// prove_processes: puts real processes under strain and measures what the helper promises.

#include <CLI/CLI.hpp>
#include <cstdio>
#include <exception>
#include <functional>
#include <string>

#include "prove/processes/Proofs.h"
#include "testing/TemporaryFolder.h"

namespace {

constexpr int kept = 0;
constexpr int broken = 1;
constexpr int wrongUsage = 2;

} // namespace

int main(int argc, char** argv) {
    CLI::App app{"Puts real processes under strain and measures what the helper promises.", "prove_processes"};
    std::string staged;
    int tries = 1000;
    unsigned seed = 1;
    double minutes = 60;
    std::string only;
    std::string data;
    app.add_option("folder", staged, "A staged installation with rawclient, and with it unsigned as stranger")
        ->required()
        ->check(CLI::ExistingDirectory);
    app.require_subcommand(1);
    app.footer("Exit status: 0 every promise was kept, 1 one was broken, 2 incorrect usage.");
    const kelo::TemporaryFolder work;
    std::function<int()> prove;
    auto* delays = app.add_subcommand("delays", "From SIGTERM to the last fan automatic.");
    delays->add_option("tries", tries)->check(CLI::PositiveNumber);
    delays->add_option("--only", only, "The one situation to measure, such as \"log stalled\"");
    delays->callback([&] { prove = [&] { return kelo::proveDelays(staged, work.path(), tries, only); }; });
    auto* kill = app.add_subcommand("kill", "Ends in the middle of a busy life.");
    kill->add_option("tries", tries)->check(CLI::PositiveNumber);
    kill->add_option("--seed", seed, "Of the first try");
    kill->add_option("--data", data, "Where the delays go, for a picture");
    kill->callback([&] { prove = [&] { return kelo::proveKill(staged, work.path(), tries, seed, data); }; });
    auto* soak = app.add_subcommand("soak", "What the helper uses while clients come and go.");
    soak->add_option("minutes", minutes)->check(CLI::PositiveNumber);
    soak->callback([&] { prove = [&] { return kelo::proveSoak(staged, work.path(), minutes); }; });
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        return error.get_exit_code() == 0 ? app.exit(error) : (app.exit(error), wrongUsage);
    }
    try {
        return prove() == 0 ? kept : broken;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "prove_processes: %s\n", error.what());
        return broken;
    }
}
