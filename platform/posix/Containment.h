#pragma once

namespace kelo {

/// Logs the fault "`what`: `why`" in the system log, category "platform". Any thread. Defined once for each operating
/// system.
void reportFault(const char* what, const char* why) noexcept;

/// Implements the part of `contain` that does not depend on the type of `work`. Calls `call(work)`.
void containCall(const char* what, void (*call)(const void* work), const void* work) noexcept;

/// Runs `work` and reports any exception that it throws as a fault of `what`. Without this function, an exception that
/// escapes from a thread or from a callback of libdispatch, CoreFoundation or XPC would end the process without handing
/// the fans back. Does not allocate. Any thread.
template <typename Work>
void contain(const char* what, const Work& work) noexcept {
    containCall(
        what, [](const void* called) { (*static_cast<const Work*>(called))(); }, &work);
}

} // namespace kelo
