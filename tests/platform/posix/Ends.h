#pragma once

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <termios.h>
#include <unistd.h>

#include <array>
#include <cstdlib>
#include <string>
#include <utility>

#include "platform/posix/FileDescriptor.h"

namespace kelo {

/// The two ends of a stream that a process may have as its standard error.
struct Ends {
    FileDescriptor reading;
    FileDescriptor writing;
};

inline Ends pipeEnds() {
    std::array<int, 2> ends{};
    EXPECT_EQ(pipe(ends.data()), 0);
    return {FileDescriptor(ends[0]), FileDescriptor(ends[1])};
}

inline Ends socketEnds() {
    std::array<int, 2> ends{};
    EXPECT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, ends.data()), 0);
    return {FileDescriptor(ends[0]), FileDescriptor(ends[1])};
}

/// A terminal that does not alter its output.
inline Ends terminalEnds() {
    FileDescriptor reading(posix_openpt(O_RDWR | O_NOCTTY));
    EXPECT_EQ(grantpt(reading.get()), 0);
    EXPECT_EQ(unlockpt(reading.get()), 0);
    FileDescriptor writing(open(ptsname(reading.get()), O_RDWR | O_NOCTTY));
    termios settings{};
    EXPECT_EQ(tcgetattr(writing.get(), &settings), 0);
    settings.c_oflag &= ~static_cast<tcflag_t>(OPOST);
    EXPECT_EQ(tcsetattr(writing.get(), TCSANOW, &settings), 0);
    return {std::move(reading), std::move(writing)};
}

/// Reads all available text without waiting.
inline std::string readAll(const FileDescriptor& end) {
    fcntl(end.get(), F_SETFL, O_NONBLOCK);
    std::string text;
    std::array<char, 4096> part{};
    while (true) {
        const auto size = read(end.get(), part.data(), part.size());
        if (size <= 0)
            return text;
        text.append(part.data(), static_cast<std::size_t>(size));
    }
}

} // namespace kelo
