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
};

/// Signals as events of the main queue. Main thread only.
class Signals {
public:
    Signals() = default;
    Signals(const Signals&) = delete;
    Signals& operator=(const Signals&) = delete;
    virtual ~Signals() = default;

    /// Disables the signal's default action, so that only a source sees it.
    virtual void ignore(int signal) = 0;

    /// Calls `onSignal` on the main queue each time the signal has arrived. Null when the system has no source left;
    /// the signal then has its default effect again, so that the process can still be ended.
    [[nodiscard]] virtual std::unique_ptr<SignalSource> deliver(int signal, std::function<void()> onSignal) = 0;
};

} // namespace kelo
