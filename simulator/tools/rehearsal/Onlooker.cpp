#include "simulator/tools/rehearsal/Onlooker.h"

namespace kelo {
namespace {

constexpr unsigned columns = 100;
constexpr unsigned rows = 32;

} // namespace

Onlooker::Onlooker(const std::filesystem::path& kelo)
    : terminal_(kelo, {"watch"}, columns, rows, {"TERM=xterm", "LC_ALL=C.UTF-8", "NO_COLOR="}), screen_(columns, rows) {
}

PictureData Onlooker::data() const {
    PictureData data = {{"picture", "screen"}, {"title", "kelo watch on a terminal"}, {"columns", columns}};
    data["rows"] = PictureData::array();
    for (const auto& row : screen_.cells()) {
        auto spans = PictureData::array();
        for (const auto& cell : row)
            if (spans.empty() || spans.back().at(1) != cell.ink)
                spans.push_back(PictureData::array({cell.character, cell.ink}));
            else
                spans.back().at(0).get_ref<std::string&>() += cell.character;
        data["rows"].push_back(std::move(spans));
    }
    return data;
}

} // namespace kelo
