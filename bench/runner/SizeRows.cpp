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
        figures.addWithTarget("size." + program, static_cast<double>(std::filesystem::file_size(stripped)) / 1024,
                              "KiB", 400);
    }
}

} // namespace kelo::bench
