#pragma once

#include "helper/Signals.h"

namespace kelo {

class EventLoop;

/// Signals through signalfd.
///
/// To be used before any other thread is started: a signal is taken only if every thread has it blocked, and threads
/// inherit that from the one that starts them.
class SignalfdSignals : public Signals {
public:
    /// `loop` is borrowed.
    explicit SignalfdSignals(EventLoop& loop) : loop_(loop) {}

    void ignore(int signal) override;
    [[nodiscard]] std::unique_ptr<SignalSource> deliver(int signal, std::function<void()> onSignal) override;

private:
    EventLoop& loop_;
};

} // namespace kelo
