#pragma once

#include <sys/ptrace.h>
#include <sys/wait.h>

#include <filesystem>
#include <stdexcept>
#include <string>
#include <vector>

namespace kelo {

/// Stops every thread of a process but its first, as if each were stuck, until the process ends. Of a process that this
/// one has started.
class StoppedThreads {
public:
    explicit StoppedThreads(pid_t process) {
        for (const auto& task : std::filesystem::directory_iterator("/proc/" + std::to_string(process) + "/task")) {
            const auto thread = static_cast<pid_t>(std::stol(task.path().filename()));
            if (thread != process)
                stop(thread);
        }
    }

    std::size_t count() const { return threads_.size(); }

    /// The process does not count as ended before this has been called after its end.
    void reap() const {
        for (const auto thread : threads_)
            waitpid(thread, nullptr, __WALL | WNOHANG);
    }

private:
    void stop(pid_t thread) {
        if (ptrace(PTRACE_SEIZE, thread, nullptr, nullptr) != 0 ||
            ptrace(PTRACE_INTERRUPT, thread, nullptr, nullptr) != 0 || waitpid(thread, nullptr, __WALL) != thread)
            throw std::runtime_error("cannot stop a thread");
        threads_.push_back(thread);
    }

    std::vector<pid_t> threads_;
};

} // namespace kelo
