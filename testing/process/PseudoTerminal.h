#pragma once

#include <sys/types.h>
#include <termios.h>

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "platform/posix/FileDescriptor.h"

namespace kelo {

/// A process that leads a session on a separate terminal, and the other end of that terminal. Killed if it is still
/// running when this object is destroyed.
class PseudoTerminal {
public:
    /// `environment` (NAME=VALUE) is added to this process's environment and replaces variables of the same name.
    PseudoTerminal(const std::filesystem::path& executable, const std::vector<std::string>& arguments, unsigned columns,
                   unsigned rows, const std::vector<std::string>& environment);
    PseudoTerminal(const PseudoTerminal&) = delete;
    PseudoTerminal& operator=(const PseudoTerminal&) = delete;
    ~PseudoTerminal();

    /// Resizes the terminal as a user resizes the window: the process gets SIGWINCH.
    void resize(unsigned columns, unsigned rows) const;
    /// Types keys as the bytes that they send: "\x03" for Ctrl-C.
    void type(const std::string& keys) const;
    void signal(int signal) const;

    /// Returns the output since the last call; does not wait.
    std::string readNew() const;
    bool isEchoing() const;

    /// Whether the process is stopped, as by Ctrl-Z.
    bool isStopped();
    /// Its exit status, or 128 plus the signal that ended it; nullopt while it runs.
    std::optional<int> status();

private:
    void updateStatus();

    pid_t number_ = -1;
    FileDescriptor master_;
    bool isStopped_ = false;
    std::optional<int> status_;
};

} // namespace kelo
