#pragma once

#include <sys/types.h>
#include <termios.h>

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "platform/posix/FileDescriptor.h"

namespace kelo {

/// A process that runs on a terminal of its own, as its session's leader, and the terminal's other end. Killed when it
/// is still running as this object ends.
class PseudoTerminal {
public:
    /// `environment` (NAME=VALUE) adds to this process's own and takes the place of what is in there.
    PseudoTerminal(const std::filesystem::path& executable, const std::vector<std::string>& arguments, unsigned columns,
                   unsigned rows, const std::vector<std::string>& environment);
    PseudoTerminal(const PseudoTerminal&) = delete;
    PseudoTerminal& operator=(const PseudoTerminal&) = delete;
    ~PseudoTerminal();

    /// As when the user pulls at the window's corner: the process gets SIGWINCH.
    void resize(unsigned columns, unsigned rows) const;
    /// What keys send: "\x03" for Ctrl-C.
    void type(const std::string& keys) const;
    void signal(int signal) const;

    /// What has come out since the last call; does not wait.
    std::string readNew() const;
    /// Whether what is typed appears by itself.
    bool isEchoing() const;

    /// Whether the process is stopped, as by Ctrl-Z.
    bool isStopped();
    /// Its exit status, or 128 and the signal that ended it; none while it runs.
    std::optional<int> status();

private:
    void look();

    pid_t number_ = -1;
    FileDescriptor master_;
    bool isStopped_ = false;
    std::optional<int> status_;
};

} // namespace kelo
