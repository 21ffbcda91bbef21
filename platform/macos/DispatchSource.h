#pragma once

#include <cstdint>
#include <functional>
#include <memory>

namespace kelo {

/// One active dispatch source on the main queue. Destroying it cancels it. Main thread only.
class DispatchSource {
public:
    /// All run on the main queue.
    struct Handlers {
        std::function<void()> onEvent; ///< Not called after cancellation.
        /// Called once after cancellation, when the system has stopped using the handle: only now may it be closed.
        std::function<void()> onCancelled;
        /// Called once, unless the source was cancelled first. Earlier events may have been lost.
        std::function<void()> onRegistered = [] {};
    };

    /// Returns nullptr if the system cannot create the source; the handlers are then never called.
    static std::unique_ptr<DispatchSource> forSignal(int signal, Handlers handlers);
    /// Reports that the file behind `descriptor` was deleted, renamed or revoked.
    static std::unique_ptr<DispatchSource> forFile(int descriptor, Handlers handlers);

    DispatchSource(const DispatchSource&) = delete;
    DispatchSource& operator=(const DispatchSource&) = delete;
    ~DispatchSource();

    /// May be called from the event handler and more than once.
    void cancel();

private:
    struct Context;

    explicit DispatchSource(Context* context) : context_(context) {}
    static std::unique_ptr<DispatchSource> activate(void* source, Handlers handlers);
    static void handleEvent(void* context);
    static void handleCancellation(void* context);
    static void handleRegistration(void* context);

    Context* context_; ///< Belongs to the source until its cancellation has been handled; null once cancelled.
};

} // namespace kelo
