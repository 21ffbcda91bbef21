// Linked into test programs that contain all mutants. Writes a line for each test, with its duration and the mutants
// that it reached, to the file that KELO_MUTANT_RECORD names.

#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>

#include "tools/mutants/support/Mutant.h"

namespace {

class Recorder : public testing::EmptyTestEventListener {
public:
    explicit Recorder(const char* path) : file_(path) {}

    void OnTestProgramStart(const testing::UnitTest&) override { atStart_ = kelo_mutants::reached(); }
    void OnTestStart(const testing::TestInfo&) override { kelo_mutants::reached() = atStart_; }
    void OnTestEnd(const testing::TestInfo& test) override {
        file_ << test.test_suite_name() << '.' << test.name() << ' ' << test.result()->elapsed_time();
        const auto& reached = kelo_mutants::reached();
        for (std::size_t number = 0; number < reached.size(); ++number)
            if (reached[number])
                file_ << ' ' << number;
        file_ << std::endl;
    }

private:
    std::ofstream file_;
    std::array<bool, kelo_mutants::maximum> atStart_{}; ///< Mutants that static initialisation reached.
};

const bool isRecording = [] {
    const char* const path = std::getenv("KELO_MUTANT_RECORD");
    if (path != nullptr)
        testing::UnitTest::GetInstance()->listeners().Append(new Recorder(path));
    return path != nullptr;
}();

} // namespace
