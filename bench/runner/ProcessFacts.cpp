#include "bench/runner/ProcessFacts.h"

#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

namespace kelo::bench {
namespace {

void addThread(const std::filesystem::path& thread, ProcessFacts& facts) {
    double nanoseconds = 0;
    std::ifstream(thread / "schedstat") >> nanoseconds;
    facts.processorTime += nanoseconds / 1000;
    std::ifstream status(thread / "status");
    for (std::string word; status >> word;)
        if (std::uint64_t count = 0; word == "voluntary_ctxt_switches:" && status >> count)
            facts.waits += count;
}

/// One mapping after the other: a line with its file, and lines with its sizes.
void addMemory(const std::string& process, ProcessFacts& facts) {
    std::ifstream maps(process + "/smaps");
    bool isLibrary = false;
    for (std::string line; std::getline(maps, line);) {
        std::istringstream words(line);
        std::string name;
        double size = 0;
        if (!(words >> name >> size) || name.back() != ':') {
            isLibrary = line.find(".so") != std::string::npos;
            continue;
        }
        if (name == "Rss:")
            facts.resident += size;
        if (name == "Private_Clean:" || name == "Private_Dirty:")
            facts.privateMemory += size;
        if (name == "Private_Dirty:" || (name == "Private_Clean:" && !isLibrary))
            facts.privateToItself += size;
        if (name == "Anonymous:")
            facts.anonymous += size;
    }
}

} // namespace

ProcessFacts ProcessFacts::of(pid_t process) {
    const auto folder = "/proc/" + std::to_string(process);
    ProcessFacts facts;
    for (const auto& thread : std::filesystem::directory_iterator(folder + "/task"))
        addThread(thread.path(), facts);
    addMemory(folder, facts);
    return facts;
}

} // namespace kelo::bench
