// rehearse: plays a session on a staged installation and checks the helper's promises.

#include <CLI/CLI.hpp>
#include <cstdio>
#include <exception>
#include <fstream>
#include <stdexcept>

#include "simulator/tools/pictures/Picture.h"
#include "simulator/tools/rehearsal/Rehearsal.h"

namespace {

constexpr int kept = 0;
constexpr int broken = 1;
constexpr int wrongUsage = 2;

struct Arguments {
    std::string folder;
    std::string profile = "laptop";
    double speed = 1;
    std::string data;
    std::string picture;
};

std::vector<std::string> profileNames() {
    std::vector<std::string> names;
    for (const auto& profile : kelo::Profile::all())
        names.push_back(profile.name);
    return names;
}

void write(const std::string& file, const std::string& content) {
    if (!(std::ofstream(file, std::ios::binary) << content).flush())
        throw std::runtime_error("cannot write " + file);
}

int rehearse(const Arguments& arguments) {
    kelo::Rehearsal rehearsal(arguments.folder, *kelo::Profile::named(arguments.profile), arguments.speed);
    const int count = rehearsal.play();
    rehearsal.printSummary();
    const auto data = rehearsal.data();
    write(arguments.data, kelo::textOf(data));
    write(arguments.picture, kelo::drawPicture(data));
    std::printf("The picture is %s, of the data in %s.\n", arguments.picture.c_str(), arguments.data.c_str());
    return count == 0 ? kept : broken;
}

} // namespace

int main(int argc, char** argv) {
    CLI::App app{"Plays a session on a staged installation and checks the helper's promises.", "rehearse"};
    Arguments arguments;
    app.add_option("folder", arguments.folder, "The staged installation")->required()->check(CLI::ExistingDirectory);
    app.add_option("--profile", arguments.profile, "The kind of Mac")->check(CLI::IsMember(profileNames()));
    app.add_option("--speed", arguments.speed, "How many times faster the Mac's own clock runs")
        ->check(CLI::Range(0.1, 100.0));
    app.add_option("--data", arguments.data, "Where what was recorded goes, as JSON")->required();
    app.add_option("--picture", arguments.picture, "Where the picture goes, as SVG")->required();
    app.footer("Exit status: 0 every promise was kept, 1 one was broken, 2 incorrect usage.");
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        return error.get_exit_code() == 0 ? app.exit(error) : (app.exit(error), wrongUsage);
    }
    try {
        return rehearse(arguments);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "rehearse: %s\n", error.what());
        return broken;
    }
}
