#pragma once

#include <cstdint>
#include <functional>
#include <memory>

namespace kelo {

/// One active dispatch source on the main queue. Destroying it cancels it. Main thread only.
class DispatchSource {
public:
    /// The main queue runs all handlers.
    struct Handlers {
        std::function<void()> onEvent; ///< Not called after cancellation.
        /// Called once after cancellation, when the system has stopped using the handle. Do not close the handle
        /// earlier.
        std::function<void()> onCancelled;
        /// Called once when the source is ready, unless it has already been cancelled. Earlier events may have been
        /// lost.
        std::function<void()> onRegistered = [] {};
    };

    /// Returns nullptr if the system cannot create the source; the handlers are then never called.
    static std::unique_ptr<DispatchSource> forSignal(int signal, Handlers handlers);
    /// Creates a source whose events report that the file behind `descriptor` was deleted, renamed or revoked.
    static std::unique_ptr<DispatchSource> forFile(int descriptor, Handlers handlers);

    DispatchSource(const DispatchSource&) = delete;
    DispatchSource& operator=(const DispatchSource&) = delete;
    ~DispatchSource();

    /// Cancels the source. May be called from the event handler, and more than once.
    void cancel();

private:
    struct Context;

    explicit DispatchSource(Context* context) : context_(context) {}
    static std::unique_ptr<DispatchSource> activate(void* source, Handlers handlers);
    static void handleEvent(void* context);
    static void handleCancellation(void* context);
    static void handleRegistration(void* context);

    Context* context_; ///< Owned by the source until it has handled its cancellation; null after `cancel`.
};

} // namespace kelo
