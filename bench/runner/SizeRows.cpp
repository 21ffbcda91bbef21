#include <filesystem>

#include "bench/runner/Rows.h"

namespace kelo::bench {

void measureSize(const Scene& scene, Figures& figures) {
    for (const std::string program : {Installation::helperName, "kelo"}) {
        const auto stripped = scene.program(program + ".stripped");
        PipedProcess strip({"/usr/bin/strip", "-o", stripped, scene.installed(program)});
        const auto errors = strip.readError();
        if (strip.wait() != 0)
            throw std::runtime_error(errors);
        const double size = static_cast<double>(std::filesystem::file_size(stripped)) / 1024;
        if (program == Installation::helperName)
            figures.addWithTarget("size." + program, size, "KiB", 400);
        else
            figures.add("size." + program, size, "KiB");
    }
}

} // namespace kelo::bench
