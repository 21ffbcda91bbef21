#pragma once

#include <filesystem>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "testing/process/ChildProcess.h"
#include "testing/process/LaunchEnvironment.h"

namespace kelo {

/// A folder with the helper, its client and a simulated Mac in it, and the processes that run from there.
///
/// Installations do not share anything: programs find each other by their folder.
class Installation {
public:
    static constexpr const char* helperName = "app.kelo.helper";

    struct Finished {
        int status;
        std::string output;
        std::string errors;
    };

    /// `folder` holds the programs. What they print goes into its folder "log".
    explicit Installation(std::filesystem::path folder);

    const std::filesystem::path& folder() const { return folder_; }
    std::filesystem::path program(const std::string& name) const { return folder_ / name; }

    /// Starts the simulated Mac and waits until it is up. Throws `std::runtime_error` when it does not come up.
    void startMac(const std::vector<std::string>& options = {});
    void stopMac();

    /// Starts the helper; does not wait.
    void startHelper();
    void startHelper(const LaunchEnvironment& environment);
    /// The same by way of another executable, which becomes the helper.
    void startHelperBy(const std::filesystem::path& executable, const std::vector<std::string>& arguments);
    /// Starts the helper and waits until it listens. Throws `std::runtime_error` when it does not.
    void startListeningHelper();
    ChildProcess& helper() const { return *helper_; }
    /// Drops the helper's process; kills it if it is running.
    void forgetHelper() { helper_.reset(); }

    /// The helper's lines on standard error so far, without their times.
    std::vector<std::string> helperLog() const;
    /// Waits for a line in the helper's log: the `count`-th of this text.
    bool waitForLog(const std::string& line, double seconds = 10, int count = 1) const;

    /// Runs a program to its end. Throws `std::runtime_error` when that takes longer than a minute and a half.
    Finished run(const std::string& name, const std::vector<std::string>& arguments);
    /// Starts a program and leaves it running.
    std::unique_ptr<ChildProcess> start(const std::string& name, const std::vector<std::string>& arguments);

    /// Drives the Mac. Throws `std::runtime_error` when the command fails.
    std::string simmac(const std::vector<std::string>& arguments);
    /// The state of the Mac.
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
