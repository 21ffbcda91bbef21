#pragma once

#include <sys/types.h>

#include <cstddef>
#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "platform/posix/FileDescriptor.h"

namespace kelo {

/// A process of our own making. Killed when it is still running as this object, or the process that made it, ends.
///
/// What it prints goes into files, where it can be read at any time. Its standard input is a pipe.
class ChildProcess {
public:
    /// `folder` takes the files NAME.out and NAME.err. Throws `std::system_error` when there is no process to be had;
    /// an executable that cannot be run ends with status 127.
    ChildProcess(const std::filesystem::path& executable, const std::vector<std::string>& arguments,
                 const std::filesystem::path& folder, const std::string& name);
    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;
    ~ChildProcess();

    pid_t number() const { return number_; }
    void signal(int signal) const;
    void writeInput(const std::string& text) const;
    void closeInput() { input_ = {}; }

    /// Its exit status, or 128 and the signal that ended it; none while it runs.
    std::optional<int> status();
    /// Waits for its end, up to `seconds`.
    std::optional<int> waitForEnd(double seconds);

    /// Waits for the line of its output that is next to be read, and returns it without its end; the rest of the output
    /// when it ends first.
    std::string readLine();

    std::string output() const;
    std::string errors() const;

private:
    pid_t number_ = -1;
    FileDescriptor input_;
    std::optional<int> status_;
    std::size_t linesEnd_ = 0; ///< Where in the output the lines that were read end.
    std::filesystem::path outputFile_;
    std::filesystem::path errorFile_;
};

/// Waits until `condition` holds, up to `seconds`; returns whether it does. Looks often and sleeps in between.
bool waitUntil(const std::function<bool()>& condition, double seconds);

} // namespace kelo
