#pragma once

#include <functional>

namespace kelo {

/// Runs `work` for a caller whose frames no exception may cross: libdispatch, CoreFoundation and XPC end the process
/// when one does, and with it a hold would end without the fan being handed back. What `work` throws is reported under
/// `what` and goes no further. Any thread.
void contain(const char* what, const std::function<void()>& work) noexcept;

/// Reports to the system's log, category "platform", what should not have happened: "`what`: `why`". Any thread.
void reportFault(const char* what, const char* why) noexcept;

} // namespace kelo
