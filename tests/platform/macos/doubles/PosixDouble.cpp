#include "tests/platform/macos/doubles/PosixDouble.h"

#include <fcntl.h>
#include <libproc.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdarg>
#include <cstring>
#include <map>
#include <mutex>
#include <utility>

#include "tests/platform/macos/doubles/Journal.h"

using SignalHandler = void (*)(int);

extern "C" SignalHandler __real_signal(int number, SignalHandler handler);

namespace kelo::doubles {

namespace {

#ifdef KELO_REAL_DISPATCH
/// Ignores a signal only if it still has its default action. On Linux, libdispatch installs a handler for the signal
/// with the first source. A later change of the disposition would replace that handler.
void ignoreForReal(int number) {
    struct sigaction current = {};
    sigaction(number, nullptr, &current);
    if (current.sa_handler == SIG_DFL)
        __real_signal(number, SIG_IGN);
}
#else
void ignoreForReal(int) {}
#endif

std::mutex mutex;
std::map<int, void (*)(int)> dispositions;
std::optional<std::string> ownPath;
std::atomic<bool> isJournalling = false;
std::atomic<unsigned int> effectiveUser = 0;

} // namespace

bool isIgnored(int signal) {
    const std::lock_guard lock(mutex);
    const auto found = dispositions.find(signal);
    return found != dispositions.end() && found->second == SIG_IGN;
}

void setOwnPath(std::optional<std::string> path) { ownPath = std::move(path); }

void setEffectiveUser(unsigned int user) { effectiveUser = user; }

void journalFiles(bool isOn) { isJournalling = isOn; }

void resetPosix() {
    const std::lock_guard lock(mutex);
    dispositions.clear();
    ownPath.reset();
    isJournalling = false;
    effectiveUser = 0;
}

} // namespace kelo::doubles

using namespace kelo::doubles;

extern "C" {

int proc_pidpath(int pid, void* buffer, uint32_t size) {
    journal().add(std::string("proc_pidpath ") + (pid == getpid() ? "own" : "other") + " " + std::to_string(size));
    if (size < MAXPATHLEN || size > PROC_PIDPATHINFO_MAXSIZE)
        journal().misuse("proc_pidpath with an invalid buffer size");
    if (!ownPath)
        return 0;
    const std::size_t length = std::min<std::size_t>(ownPath->size(), size);
    std::memcpy(buffer, ownPath->data(), length);
    return static_cast<int>(length);
}

int __real_open(const char* path, int flags, ...);
int __real_close(int descriptor);
int __real_stat(const char* path, struct stat* status);

int __wrap_open(const char* path, int flags, ...) {
    std::va_list arguments;
    va_start(arguments, flags);
    const int mode = (flags & O_CREAT) != 0 ? va_arg(arguments, int) : 0;
    va_end(arguments);
    if (isJournalling)
        journal().add(std::string("open ") + path + " " + hex(static_cast<unsigned>(flags)));
    return __real_open(path, flags, mode);
}

int __wrap_close(int descriptor) {
    if (isJournalling)
        journal().add("close");
    return __real_close(descriptor);
}

int __wrap_stat(const char* path, struct stat* status) {
    if (isJournalling)
        journal().add(std::string("stat ") + path);
    return __real_stat(path, status);
}

SignalHandler __wrap_signal(int number, SignalHandler handler) {
    journal().add("signal " + std::to_string(number) +
                  (handler == SIG_IGN   ? " ignore"
                   : handler == SIG_DFL ? " default"
                                        : " another disposition"));
    const std::lock_guard lock(mutex);
    if (handler == SIG_IGN)
        ignoreForReal(number);
    return std::exchange(dispositions[number], handler);
}

uid_t __wrap_geteuid() { return effectiveUser; }

} // extern "C"
