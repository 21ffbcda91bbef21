// What the tests of signatures run as somebody else: a program that can be signed.

#include <unistd.h>

#include <cstdio>
#include <string>

namespace {

void say(const char* line) {
    std::printf("%s\n", line);
    std::fflush(stdout);
}

/// Until standard input is closed.
void wait() {
    char byte = 0;
    while (::read(STDIN_FILENO, &byte, 1) > 0) {
    }
}

} // namespace

int main(int argc, char** argv) {
    const std::string command = argc > 1 ? argv[1] : "";
    if (command == "hello") {
        say("still runs");
        return 7;
    }
    if (command == "wait") {
        say("waiting");
        wait();
        return 0;
    }
    return 1;
}
