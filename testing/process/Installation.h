#pragma once

#include <filesystem>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "testing/process/ChildProcess.h"
#include "testing/process/LaunchEnvironment.h"

namespace kelo {

/// A folder that contains the helper, its client and a simulated Mac, and the processes started from it.
///
/// Installations share nothing: the programs of each find each other through its folder.
class Installation {
public:
    static constexpr const char* helperName = "app.kelo.helper";

    struct Finished {
        int status;
        std::string output;
        std::string errors;
    };

    /// `folder` contains the programs. Their output goes into its folder "log".
    explicit Installation(std::filesystem::path folder);

    const std::filesystem::path& folder() const { return folder_; }
    std::filesystem::path program(const std::string& name) const { return folder_ / name; }

    /// Starts the simulated Mac and waits until it is up. Throws `std::runtime_error` if it does not come up.
    void startMac(const std::vector<std::string>& options = {});
    void stopMac();

    /// Starts the helper without waiting for it.
    void startHelper();
    void startHelper(const LaunchEnvironment& environment);
    /// Starts the helper by running `executable`, which is a copy of the helper or executes it in the same process.
    void startHelperBy(const std::filesystem::path& executable, const std::vector<std::string>& arguments);
    /// Starts the helper and waits until it listens. Throws `std::runtime_error` if it does not.
    void startListeningHelper();
    ChildProcess& helper() const { return *helper_; }
    /// Kills the helper's process if it is still running, and forgets it.
    void forgetHelper() { helper_.reset(); }

    /// The helper's lines on standard error so far, without their times.
    std::vector<std::string> helperLog() const;
    /// Waits until the helper's log contains `line` at least `count` times.
    bool waitForLog(const std::string& line, double seconds = 10, int count = 1) const;

    /// Runs a program to its end. Throws `std::runtime_error` if that takes longer than 90 seconds.
    Finished run(const std::string& name, const std::vector<std::string>& arguments);
    std::unique_ptr<ChildProcess> start(const std::string& name, const std::vector<std::string>& arguments);

    /// Runs a command of simmac and returns its output. Throws `std::runtime_error` if it fails.
    std::string simmac(const std::vector<std::string>& arguments);
    nlohmann::json mac();
    bool isAnyFanManual();

private:
    std::unique_ptr<ChildProcess> startExecutable(const std::filesystem::path& executable, const std::string& name,
                                                  const std::vector<std::string>& arguments);

    std::filesystem::path folder_;
    std::unique_ptr<ChildProcess> mac_;
    std::unique_ptr<ChildProcess> helper_;
    int runs_ = 0;
};

} // namespace kelo
