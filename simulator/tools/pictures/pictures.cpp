// pictures: records data for the pictures in the documents, and draws them.

#include <CLI/CLI.hpp>
#include <fstream>
#include <stdexcept>

#include "client/UsageError.h"
#include "simulator/tools/pictures/Picture.h"
#include "simulator/tools/pictures/Records.h"

namespace {

void write(const std::string& file, const std::string& content) {
    std::ofstream stream(file, std::ios::binary);
    if (!(stream << content).flush())
        throw std::runtime_error("cannot write " + file);
}

void record(const std::string& kind, const std::string& file) {
    write(file, kelo::textOf(kind == "floor" ? kelo::records::floor() : kelo::records::hour()));
}

void draw(const std::string& data, const std::string& picture) {
    std::ifstream stream(data);
    write(picture, kelo::drawPicture(kelo::PictureData::parse(stream)));
}

} // namespace

int main(int argc, char** argv) {
    CLI::App app{"Records data for the pictures in the documents, and draws them.", "pictures"};
    app.require_subcommand(1);
    std::string kind;
    std::string data;
    std::string picture;
    auto* records = app.add_subcommand("record", "Records the data of a picture that needs no session.");
    records->add_option("kind", kind)->required()->check(CLI::IsMember({"floor", "hour"}));
    records->add_option("data", data, "The JSON file to write")->required();
    auto* draws = app.add_subcommand("draw", "Draws a picture from data.");
    draws->add_option("data", data, "The data, a JSON file")->required()->check(CLI::ExistingFile);
    draws->add_option("picture", picture, "The SVG file to write")->required();
    return kelo::runProgram(app, argc, argv, [&] {
        if (*records)
            record(kind, data);
        else
            draw(data, picture);
        return kelo::exit_status::done;
    });
}
