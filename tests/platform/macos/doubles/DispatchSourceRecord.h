#pragma once

#include <dispatch/dispatch.h>

#include <cstdint>
#include <string>

struct dispatch_source_type_s {
    const char* name;
};

namespace kelo::doubles {

/// The settings and the state of a dispatch source that the code under test has created. Main thread only.
struct DispatchSourceRecord {
    bool isVnode;
    std::uintptr_t handle;
    std::uintptr_t mask;
    bool isOnMainQueue;
    void* context = nullptr;
    dispatch_function_t eventHandler = nullptr;
    void* eventContext = nullptr; // the context when the event handler was set
    dispatch_function_t cancelHandler = nullptr;
    dispatch_function_t registrationHandler = nullptr;
    bool isActive = false;
    bool isCancelled = false;
    bool isFinished = false; // its cancel handler has run
    std::string path{};      // the watched file's path; empty once unlinked

    void setEventHandler(dispatch_function_t handler);
    void runEventHandler() const;
    void runCancelHandler();
    void runRegistrationHandler() const;

    /// Updates the path of the watched file. Returns the events in `mask` that have occurred since the last call.
    unsigned long updatePath();
};

void journalCreation(const DispatchSourceRecord& source);
/// Returns the description of the source for `lastSource`.
std::string describe(const DispatchSourceRecord& source);

} // namespace kelo::doubles
