// The limit for the start, for the memory and for the end: a program with the helper's libraries that does nothing but
// say that its main has begun.
//
// usage: bench_empty [stay | watch]: asked to stay, it runs until killed; asked to watch, with a watch on each of two
// files, as the helper has.

#include <sodium.h>
#include <sys/inotify.h>
#include <unistd.h>

#include <cstring>
#include <exception>

namespace {

// Something of each library is used, so that the linker keeps it.
[[gnu::used]] const void* const libraries[] = {reinterpret_cast<const void*>(&crypto_sign_verify_detached),
                                               reinterpret_cast<const void*>(&std::terminate)};

bool watch(const char* file) { return inotify_add_watch(inotify_init1(IN_CLOEXEC), file, IN_ATTRIB) >= 0; }

} // namespace

int main(int argc, char** argv) {
    if (argc > 1 && std::strcmp(argv[1], "watch") == 0 && !(watch(argv[0]) && watch("/")))
        return 1;
    const char line[] = "main\n";
    const bool hasSaid = write(STDERR_FILENO, line, sizeof line - 1) > 0;
    if (argc > 1)
        pause();
    return hasSaid ? 0 : 1;
}
