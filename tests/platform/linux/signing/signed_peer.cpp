// The peer program of the signature tests. It can be signed, connects to a socket, and prints its team.

#include <fcntl.h>
#include <sched.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "platform/linux/signing/TrailerSigningInformation.h"
#include "platform/posix/FileDescriptor.h"

namespace {

/// Connects to the socket at `path`. The connection stays open when the process executes another program.
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

void print(const char* line) {
    std::printf("%s\n", line);
    std::fflush(stdout);
}

/// Waits until standard input is closed.
void wait() {
    char byte = 0;
    while (::read(STDIN_FILENO, &byte, 1) > 0) {
    }
}

int printTeam() {
    kelo::TrailerSigningInformation information(
        [](const std::string& reason) { std::fprintf(stderr, "%s\n", reason.c_str()); });
    print(information.teamIdentifier().value_or("(none)").c_str());
    wait(); // lets the test replace the file
    print(information.teamIdentifier().value_or("(none)").c_str());
    return 0;
}

/// Prints `done`, or the reason why the kernel refused.
void printOutcome(bool isDone, const char* done) { print(isDone ? done : std::strerror(errno)); }

struct Mapping {
    std::uintptr_t start = 0;
    std::size_t size = 0;
    int protection = PROT_NONE;
};

std::vector<Mapping> mappingsOfOwnExecutable() {
    const auto executable = std::filesystem::read_symlink("/proc/self/exe").string();
    std::vector<Mapping> mappings;
    std::ifstream maps("/proc/self/maps");
    for (std::string line; std::getline(maps, line);) {
        unsigned long start = 0;
        unsigned long end = 0;
        char rights[5] = "";
        if (!line.ends_with(executable) || std::sscanf(line.c_str(), "%lx-%lx %4s", &start, &end, rights) != 3)
            continue;
        const int protection = (rights[0] == 'r' ? PROT_READ : 0) | (rights[1] == 'w' ? PROT_WRITE : 0) |
                               (rights[2] == 'x' ? PROT_EXEC : 0);
        mappings.push_back({start, end - start, protection});
    }
    return mappings;
}

/// Replaces every mapping of the executable with a copy, because the kernel does not let a process set a different
/// executable while the old one is mapped. Each copy is moved into place in a single step, because this function itself
/// must keep running.
bool unmapExecutable() {
    const kelo::FileDescriptor memory(::open("/proc/self/mem", O_RDONLY | O_CLOEXEC));
    for (const auto& [start, size, protection] : mappingsOfOwnExecutable()) {
        void* copy = ::mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        if (copy == MAP_FAILED ||
            ::pread(memory.get(), copy, size, static_cast<off_t>(start)) != static_cast<ssize_t>(size) ||
            ::mprotect(copy, size, protection) != 0 ||
            ::mremap(copy, size, size, MREMAP_MAYMOVE | MREMAP_FIXED, start) == MAP_FAILED)
            return false;
    }
    return true;
}

/// Makes /proc/self/exe a link to `file`.
bool setOwnExecutable(int file) {
    const auto anywhere = reinterpret_cast<std::uintptr_t>(::sbrk(0)); // the end of the heap must be correct
    prctl_mm_map map{};
    for (auto* address : {&map.start_code, &map.end_code, &map.start_data, &map.end_data, &map.start_brk, &map.brk,
                          &map.start_stack, &map.arg_start, &map.arg_end, &map.env_start, &map.env_end})
        *address = anywhere;
    ++map.end_code; // the code must not be empty
    map.exe_fd = static_cast<std::uint32_t>(file);
    return ::prctl(PR_SET_MM, PR_SET_MM_MAP, &map, sizeof map, 0) == 0;
}

bool enterNewUserNamespace() { return ::unshare(CLONE_NEWUSER) == 0; }

/// Takes a lease that is never released: any process that opens the file waits for its release.
bool lease(int file) {
    ::signal(SIGIO, SIG_IGN); // the kernel requests the release with this signal
    return ::fcntl(file, F_SETLEASE, F_WRLCK) == 0;
}

/// Makes another file appear as the executable of this process. The superuser of any separate user namespace can do
/// this.
bool forgeExecutable(const char* path, bool isLeased) {
    const kelo::FileDescriptor file(::open(path, O_RDONLY | O_CLOEXEC));
    return unmapExecutable() && enterNewUserNamespace() && (!isLeased || lease(file.get())) &&
           setOwnExecutable(file.get());
}

} // namespace

int main(int argc, char** argv) {
    const std::string command = argc > 1 ? argv[1] : "";
    if (command == "hello") {
        print("still runs");
        return 7;
    }
    if (command == "wait") {
        print("waiting");
        wait();
        return 0;
    }
    if (command == "team")
        return printTeam();
    if (command == "connect" && argc == 3) {
        connectTo(argv[2]);
        print("connected");
        wait();
        return 0;
    }
    if (command == "hang-up" && argc == 3) {
        ::close(connectTo(argv[2]));
        print("hung up");
        wait();
        return 0;
    }
    if (command == "enter-namespace" && argc == 3) {
        connectTo(argv[2]);
        printOutcome(enterNewUserNamespace(), "entered");
        wait();
        return 0;
    }
    if ((command == "forge" || command == "forge-leased") && argc == 4) {
        connectTo(argv[2]);
        printOutcome(forgeExecutable(argv[3], command == "forge-leased"), "forged");
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
