// Runs a fuzz target on existing inputs in builds without a fuzzer. Each argument is a file or a folder of files.

#include <algorithm>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string_view>
#include <vector>

#include "fuzz/FuzzTarget.h"

namespace {

namespace fs = std::filesystem;

std::vector<fs::path> filesAt(const fs::path& path) {
    if (!fs::is_directory(path))
        return {path};
    std::vector<fs::path> files;
    for (const auto& entry : fs::directory_iterator(path))
        files.push_back(entry.path());
    std::sort(files.begin(), files.end()); // the same order everywhere
    return files;
}

void run(const fs::path& path) {
    std::ifstream file;
    file.exceptions(std::ios::failbit);
    file.open(path, std::ios::binary);
    const std::vector<char> bytes(std::istreambuf_iterator<char>(file), {});
    std::printf("%s\n", path.filename().c_str());
    std::fflush(stdout); // so that the last line names the input of a crash
    LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size());
}

} // namespace

int main(int argc, char** argv) try {
    int count = 0;
    for (int i = 1; i < argc; ++i) {
        if (std::string_view(argv[i]).starts_with('-')) // an option for the fuzzer
            continue;
        for (const auto& file : filesAt(argv[i])) {
            run(file);
            ++count;
        }
    }
    std::printf("%d inputs\n", count);
    return count > 0 ? 0 : 1; // a test that finds no seeds must not pass
} catch (const std::exception& error) {
    std::fprintf(stderr, "%s\n", error.what());
    return 1;
}
