#include "platform/posix/Containment.h"

#include <exception>

namespace kelo {

void containCall(const char* what, void (*call)(const void* work), const void* work) noexcept {
    try {
        call(work);
    } catch (const std::exception& error) {
        reportFault(what, error.what());
    } catch (...) { // including Objective-C exceptions
        reportFault(what, "an unknown exception");
    }
}

} // namespace kelo
