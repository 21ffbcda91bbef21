#include "platform/posix/Containment.h"

#include <exception>

namespace kelo {

void containCall(const char* what, void (*call)(const void* work), const void* work) noexcept {
    try {
        call(work);
    } catch (const std::exception& error) {
        reportFault(what, error.what());
    } catch (...) { // Objective-C exceptions, too
        reportFault(what, "an unknown exception");
    }
}

} // namespace kelo
