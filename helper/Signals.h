#pragma once

#include <functional>
#include <memory>

namespace kelo {

/// Delivery of one signal. Destroying it ends the delivery.
class SignalSource {
public:
    SignalSource() = default;
    SignalSource(const SignalSource&) = delete;
    SignalSource& operator=(const SignalSource&) = delete;
    virtual ~SignalSource() = default;

    /// Calls `then` once a signal that arrives can no longer be lost: before this returns, which is what it does unless
    /// overridden, or later from the main queue. Not after the source has been destroyed. Main thread only, once.
    virtual void whenReady(const std::function<void()>& then) { then(); }
};

/// Signals as events of the main queue. Main thread only.
class Signals {
public:
    Signals() = default;
    Signals(const Signals&) = delete;
    Signals& operator=(const Signals&) = delete;
    virtual ~Signals() = default;

    /// Takes the signal's default effect away and calls `onSignal` on the main queue each time it has arrived. Null
    /// when the system has no source left; the signal then has its default effect, so that the process can still be
    /// ended.
    [[nodiscard]] virtual std::unique_ptr<SignalSource> deliver(int signal, std::function<void()> onSignal) = 0;
};

} // namespace kelo
