// What the tests of signatures run as somebody else: a program that can be signed, connects, and says who it is.

#include <fcntl.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <string>

#include "platform/linux/signing/TrailerSigningInformation.h"

namespace {

/// The connection stays open in programs that this one turns into.
int connectTo(const char* path) {
    const int socket = ::socket(AF_UNIX, SOCK_SEQPACKET, 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::strncpy(address.sun_path, path, sizeof address.sun_path - 1);
    if (::connect(socket, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0) {
        std::perror("connect");
        std::exit(1);
    }
    return socket;
}

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

int printTeam(const char* anchorFile) {
    kelo::TrailerSigningInformation information(anchorFile);
    say(information.teamIdentifier().value_or("(none)").c_str());
    wait(); // so that the test can replace the file and ask again
    say(information.teamIdentifier().value_or("(none)").c_str());
    return 0;
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
    if (command == "team" && argc == 3)
        return printTeam(argv[2]);
    if (command == "connect" && argc == 3) {
        connectTo(argv[2]);
        say("connected");
        wait();
        return 0;
    }
    if (command == "hang-up" && argc == 3) {
        ::close(connectTo(argv[2]));
        say("hung up");
        wait();
        return 0;
    }
    if (command == "become" && argc == 4) {
        connectTo(argv[2]);
        ::execl(argv[3], argv[3], "wait", nullptr);
        std::perror("execl");
    }
    return 1;
}
