#pragma once

namespace kelo {

/// Reports to the system's log, category "platform", what should not have happened: "`what`: `why`". Any thread.
/// Each operating system has its own.
void reportFault(const char* what, const char* why) noexcept;

/// `contain`, with `work` called by `call`.
void containCall(const char* what, void (*call)(const void* work), const void* work) noexcept;

/// Runs `work` for a caller whose frames no exception may cross: libdispatch, CoreFoundation, XPC and threads end the
/// process when one does, and a hold would end without a hand-back. What `work` throws is reported under `what` and
/// goes no further. Allocates nothing. Any thread.
template <typename Work>
void contain(const char* what, const Work& work) noexcept {
    containCall(
        what, [](const void* called) { (*static_cast<const Work*>(called))(); }, &work);
}

} // namespace kelo
