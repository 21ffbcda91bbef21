// rehearse: plays a session on a staged installation and checks the helper's promises.

#include <CLI/CLI.hpp>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <stdexcept>

#include "client/UsageError.h"
#include "simulator/tools/pictures/Picture.h"
#include "simulator/tools/rehearsal/Rehearsal.h"

namespace {

struct Arguments {
    std::string folder;
    std::string profile = "laptop";
    double speed = 1;
    std::string pictures;
};

void write(const std::filesystem::path& file, const std::string& content) {
    if (!(std::ofstream(file, std::ios::binary) << content).flush())
        throw std::runtime_error("cannot write " + file.string());
}

/// Writes a picture and its data, and prints their names.
void draw(const std::filesystem::path& file, const kelo::PictureData& data) {
    write(file.string() + ".json", kelo::textOf(data));
    write(file.string() + ".svg", kelo::drawPicture(data));
    std::printf("The picture is in %s.svg, its data are in %s.json.\n", file.c_str(), file.c_str());
}

int rehearse(const Arguments& arguments) {
    kelo::Rehearsal rehearsal(arguments.folder, *kelo::Profile::named(arguments.profile), arguments.speed);
    const int count = rehearsal.play();
    rehearsal.printSummary();
    const std::filesystem::path folder = arguments.pictures;
    draw(folder / "session", rehearsal.data());
    if (!rehearsal.watched().is_null())
        draw(folder / "watch", rehearsal.watched());
    return count == 0 ? kelo::exit_status::done : kelo::exit_status::failed;
}

} // namespace

int main(int argc, char** argv) {
    CLI::App app{"Plays a session on a staged installation and checks the helper's promises.", "rehearse"};
    Arguments arguments;
    app.add_option("folder", arguments.folder, "The staged installation")->required()->check(CLI::ExistingDirectory);
    app.add_option("--profile", arguments.profile, "The kind of Mac")->check(CLI::IsMember(kelo::Profile::names()));
    app.add_option("--speed", arguments.speed, "How many times faster the Mac's own clock runs")
        ->check(CLI::Range(0.1, 100.0));
    app.add_option("--pictures", arguments.pictures, "The folder for the pictures (SVG) and their data (JSON)")
        ->required()
        ->check(CLI::ExistingDirectory);
    app.footer("Exit status: 0 every promise was kept, 1 a promise was broken, 2 incorrect usage.");
    return kelo::runProgram(app, argc, argv, [&] { return rehearse(arguments); });
}
