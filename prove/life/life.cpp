#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "prove/life/Coverage.h"
#include "prove/life/Generator.h"
#include "prove/life/TwoLives.h"

using namespace kelo;

namespace {

/// Number of steps in which every expected event must occur.
constexpr std::uint64_t fullLength = 200'000;

struct Arguments {
    std::uint64_t steps = fullLength;
    std::uint64_t seed = 1;
    std::optional<std::string> replay; ///< File with a scenario.
    bool traces = false;
};

std::optional<Arguments> parse(int count, char** arguments) {
    Arguments parsed;
    if (count > 1 && std::string(arguments[count - 1]) == "--trace") {
        parsed.traces = true;
        --count;
    }
    for (int i = 1; i + 1 < count; i += 2) {
        const std::string name = arguments[i];
        if (name == "--steps")
            parsed.steps = std::strtoull(arguments[i + 1], nullptr, 10);
        else if (name == "--seed")
            parsed.seed = std::strtoull(arguments[i + 1], nullptr, 10);
        else if (name == "--replay")
            parsed.replay = arguments[i + 1];
        else
            return std::nullopt;
    }
    return count % 2 == 1 && parsed.steps > 0 ? std::optional(parsed) : std::nullopt;
}

std::nullopt_t refuse(const std::string& path, const std::string& why) {
    std::fprintf(stderr, "prove_life: invalid scenario \"%s\": %s\n", path.c_str(), why.c_str());
    return std::nullopt;
}

/// Reads a scenario. If it is invalid, prints the reason and returns nullopt: an invalid scenario could seem to pass.
std::optional<Script> scriptIn(const std::string& path) {
    std::ifstream file(path);
    if (!file)
        return refuse(path, "it cannot be read");
    Script script;
    for (std::string line; std::getline(file, line);) {
        const auto input = Input::fromText(line);
        if (!input)
            return refuse(path, "line " + std::to_string(script.size() + 1) + " is not an input: " + line);
        script.push_back(*input);
    }
    if (std::none_of(script.begin(), script.end(), [](const Input& any) { return any.action == Input::Action::start; }))
        return refuse(path, "it has no start");
    return script;
}

int replay(const std::string& path) {
    const auto script = scriptIn(path);
    if (!script)
        return 2;
    const auto difference = TwoLives::differenceOf(*script);
    std::printf("%s", difference ? difference->c_str() : "no difference\n");
    return difference ? 1 : 0;
}

Script without(const Script& script, std::size_t begin, std::size_t count) {
    Script rest(script.begin(), script.begin() + static_cast<std::ptrdiff_t>(begin));
    rest.insert(rest.end(), script.begin() + static_cast<std::ptrdiff_t>(std::min(begin + count, script.size())),
                script.end());
    return rest;
}

/// Removes inputs from a failing scenario until no single input can be removed without making it pass.
Script shrunk(Script script, const std::function<bool(const Script&)>& fails) {
    for (auto count = std::max<std::size_t>(script.size() / 2, 1);;) {
        bool isShorter = false;
        for (std::size_t begin = 0; begin < script.size();) {
            if (auto rest = without(script, begin, count); fails(rest)) {
                script = std::move(rest);
                isShorter = true;
            } else {
                begin += count;
            }
        }
        if (count == 1 && !isShorter)
            return script;
        count = std::max<std::size_t>(count / 2, 1);
    }
}

void report(const Script& life) {
    const auto script = shrunk(life, [](const Script& any) { return TwoLives::differenceOf(any).has_value(); });
    std::printf("%s", TwoLives::differenceOf(script).value().c_str());
    std::printf("the scenario of %zu inputs, reduced to %zu, for --replay:\n", life.size(), script.size());
    for (const auto& input : script)
        std::printf("%s\n", input.text().c_str());
}

/// Runs one random scenario after another until the given number of steps is reached.
class Scenarios {
public:
    explicit Scenarios(const Arguments& arguments) : arguments_(arguments), generator_(arguments.seed) {}

    int run() {
        std::printf("seed %llu, %llu steps; --trace prints each input first, to find one that aborts or hangs\n",
                    number(arguments_.seed), number(arguments_.steps));
        std::fflush(stdout); // an abort would lose buffered output
        while (steps_ < arguments_.steps)
            if (!playScenario())
                return 1;
        const int missing = coverage_.print();
        std::printf("\nseed %llu: %llu steps in %llu scenarios, %llu exchanges, no difference; %d expected events "
                    "never occurred\n",
                    number(arguments_.seed), number(steps_), number(scenarios_), number(exchanges_), missing);
        return missing > 0 && arguments_.steps >= fullLength ? 1 : 0;
    }

private:
    static unsigned long long number(std::uint64_t value) { return value; }

    bool playScenario() {
        ++scenarios_;
        coverage_.beginScenario();
        Script script;
        bool agree = true;
        {
            TwoLives lives;
            const auto step = [&](const Input& input) {
                script.push_back(input);
                trace(input);
                agree = lives.apply(input);
                see(input, lives.events());
            };
            for (const auto& input : generator_.begin())
                if (agree)
                    step(input);
            while (agree && !lives.hasEnded() && steps_ < arguments_.steps)
                step(generator_.next());
        }
        if (!agree) {
            std::printf("DIFFERS: seed %llu, step %llu, ", number(arguments_.seed), number(steps_));
            report(script);
        }
        return agree;
    }

    /// Prints each input before the daemon receives it. After a crash, the last `machine` line and all lines after it
    /// are the scenario.
    void trace(const Input& input) const {
        if (!arguments_.traces)
            return;
        std::printf("%s\n", input.text().c_str());
        std::fflush(stdout);
    }

    void see(const Input& input, const std::vector<TapeEntry>& events) {
        ++steps_;
        coverage_.see(input, events);
        for (const auto& entry : events)
            if (entry.isExchange())
                ++exchanges_;
    }

    const Arguments arguments_;
    Generator generator_;
    Coverage coverage_;
    std::uint64_t steps_ = 0;
    std::uint64_t scenarios_ = 0;
    std::uint64_t exchanges_ = 0;
};

} // namespace

/// Runs the daemon and its model through the same random scenarios and compares all their effects.
int main(int count, char** arguments) {
    const auto parsed = parse(count, arguments);
    if (!parsed) {
        std::fputs("usage: prove_life [--steps N] [--seed S] [--replay FILE] [--trace]\n", stderr);
        return 2;
    }
    return parsed->replay ? replay(*parsed->replay) : Scenarios(*parsed).run();
}
