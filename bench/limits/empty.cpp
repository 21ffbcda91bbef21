// The limit for the start and for the memory: a program with the helper's libraries that does nothing but say that its
// main has begun.
//
// usage: bench_empty [stay]: asked to stay, it runs until killed.

#include <openssl/cms.h>
#include <unistd.h>

#include <exception>

namespace {

// Something of each library is used, so that the linker keeps it.
[[gnu::used]] const void* const libraries[] = {reinterpret_cast<const void*>(&CMS_verify),
                                               reinterpret_cast<const void*>(&std::terminate)};

} // namespace

int main(int argc, char**) {
    const char line[] = "main\n";
    const bool hasSaid = write(STDERR_FILENO, line, sizeof line - 1) > 0;
    if (argc > 1)
        pause();
    return hasSaid ? 0 : 1;
}
