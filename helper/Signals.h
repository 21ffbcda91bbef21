#pragma once

#include <functional>
#include <memory>

namespace kelo {

/// Delivers one kind of signal. Destroying it stops the delivery.
class SignalSource {
public:
    SignalSource() = default;
    SignalSource(const SignalSource&) = delete;
    SignalSource& operator=(const SignalSource&) = delete;
    virtual ~SignalSource() = default;

    /// Calls `then` as soon as signals can no longer be lost: either before it returns (the default) or later on the
    /// main queue, but not after the source has been destroyed. Call it once, on the main thread.
    virtual void whenReady(const std::function<void()>& then) { then(); }
};

/// Delivers signals as events of the main queue. Main thread only.
class Signals {
public:
    Signals() = default;
    Signals(const Signals&) = delete;
    Signals& operator=(const Signals&) = delete;
    virtual ~Signals() = default;

    /// Disables the signal's default action and calls `onSignal` on the main queue each time the signal arrives. If the
    /// system cannot create another source, returns nullptr and keeps the default action, so that the signal still ends
    /// the process.
    [[nodiscard]] virtual std::unique_ptr<SignalSource> deliver(int signal, std::function<void()> onSignal) = 0;
};

} // namespace kelo
