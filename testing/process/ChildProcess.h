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

/// A child process. Killed if it is still running when this object is destroyed or the process that started it ends.
///
/// Its output goes into files, which can be read at any time. Its standard input is a pipe.
class ChildProcess {
public:
    /// The output goes into NAME.out and NAME.err in `folder`. Throws `std::system_error` if no process can be started.
    /// If the executable cannot be run, the status is 127.
    ChildProcess(const std::filesystem::path& executable, const std::vector<std::string>& arguments,
                 const std::filesystem::path& folder, const std::string& name);
    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;
    ~ChildProcess();

    pid_t number() const { return number_; }
    void signal(int signal) const;
    void writeInput(const std::string& text) const;
    void closeInput() { input_ = {}; }

    /// Its exit status, or 128 plus the signal that ended it; nullopt while it runs.
    std::optional<int> status();
    /// Waits up to `seconds` for its end.
    std::optional<int> waitForEnd(double seconds);

    /// Waits for the next line of its output and returns it without its newline. If the process ends first, returns the
    /// rest of the output.
    std::string readLine();

    std::string output() const;
    std::string errors() const;

private:
    pid_t number_ = -1;
    FileDescriptor input_;
    std::optional<int> status_;
    std::size_t linesEnd_ = 0; ///< The offset in the output at which the unread lines begin.
    std::filesystem::path outputFile_;
    std::filesystem::path errorFile_;
};

/// Waits up to `seconds` until `condition` holds, checking every few milliseconds. Returns whether it holds.
bool waitUntil(const std::function<bool()>& condition, double seconds);

} // namespace kelo
