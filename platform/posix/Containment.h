#pragma once

#include <exception>
#include <functional>

namespace kelo {

/// Reports to the system's log, category "platform", what should not have happened: "`what`: `why`". Any thread.
/// Each operating system has its own.
void reportFault(const char* what, const char* why) noexcept;

/// Runs `work` for a caller whose frames no exception may cross: libdispatch, CoreFoundation, XPC and threads end the
/// process when one does, and a hold would end without a hand-back. What `work` throws is reported under `what` and
/// goes no further. Any thread.
inline void contain(const char* what, const std::function<void()>& work) noexcept {
    try {
        work();
    } catch (const std::exception& error) {
        reportFault(what, error.what());
    } catch (...) { // Objective-C exceptions, too
        reportFault(what, "an unknown exception");
    }
}

} // namespace kelo
