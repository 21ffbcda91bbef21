#include "tests/platform/macos/doubles/DispatchSourceRecord.h"

#include <sys/stat.h>
#include <unistd.h>

#include <utility>

#include "tests/platform/macos/doubles/Journal.h"

namespace kelo::doubles {

namespace {

/// Returns the current path of a descriptor's file, or an empty string if the file is unlinked.
std::string pathOf(int descriptor) {
    struct stat status = {};
    char path[4096] = {};
    const std::string link = "/proc/self/fd/" + std::to_string(descriptor);
    const bool isLinked = fstat(descriptor, &status) == 0 && status.st_nlink > 0;
    return isLinked && readlink(link.c_str(), path, sizeof path - 1) > 0 ? path : "";
}

void runIfSet(dispatch_function_t handler, void* context) {
    if (handler != nullptr)
        handler(context);
}

} // namespace

void DispatchSourceRecord::setEventHandler(dispatch_function_t handler) {
    eventHandler = handler;
    eventContext = context;
}

void DispatchSourceRecord::runEventHandler() const { runIfSet(eventHandler, eventContext); }

void DispatchSourceRecord::runCancelHandler() {
    journal().add("cancel handler");
    runIfSet(cancelHandler, context);
    isFinished = true;
}

void DispatchSourceRecord::runRegistrationHandler() const { runIfSet(registrationHandler, context); }

unsigned long DispatchSourceRecord::updatePath() {
    const std::string previous = std::exchange(path, pathOf(static_cast<int>(handle)));
    if (path == previous)
        return 0;
    return mask & (path.empty() ? DISPATCH_VNODE_DELETE : DISPATCH_VNODE_RENAME);
}

void journalCreation(const DispatchSourceRecord& source) {
    journal().add("dispatch_source_create " +
                  (source.isVnode ? "vnode descriptor" : "signal " + std::to_string(source.handle)) + " " +
                  hex(source.mask));
}

std::string describe(const DispatchSourceRecord& source) {
    const char* const state = source.isCancelled ? " cancelled" : source.isActive ? " active" : " inactive";
    return (source.isVnode ? "vnode " : "signal ") + hex(source.mask) + state +
           (source.isOnMainQueue ? " main" : " another queue");
}

} // namespace kelo::doubles
