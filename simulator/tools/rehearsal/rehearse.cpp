// rehearse: plays a session on a staged installation and checks the helper's promises.

#include <CLI/CLI.hpp>
#include <cstdio>
#include <exception>
#include <fstream>

#include "simulator/tools/rehearsal/Rehearsal.h"

namespace {

constexpr int kept = 0;
constexpr int broken = 1;
constexpr int wrongUsage = 2;

int rehearse(const std::filesystem::path& folder, const std::filesystem::path& timelineFile) {
    kelo::Rehearsal rehearsal(folder);
    const int count = rehearsal.play();
    std::ofstream(timelineFile) << rehearsal.timeline().svg();
    std::printf("The timeline is %s.\n", timelineFile.c_str());
    return count == 0 ? kept : broken;
}

} // namespace

int main(int argc, char** argv) {
    CLI::App app{"Plays a session on a staged installation and checks the helper's promises.", "rehearse"};
    std::string folder;
    std::string timeline;
    app.add_option("folder", folder, "The staged installation")->required()->check(CLI::ExistingDirectory);
    app.add_option("--timeline", timeline, "Where the picture goes")->required();
    app.footer("Exit status: 0 every promise was kept, 1 one was broken, 2 incorrect usage.");
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        return error.get_exit_code() == 0 ? app.exit(error) : (app.exit(error), wrongUsage);
    }
    try {
        return rehearse(folder, timeline);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "rehearse: %s\n", error.what());
        return broken;
    }
}
