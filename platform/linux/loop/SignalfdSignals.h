#pragma once

#include <csignal>
#include <map>
#include <memory>

#include "helper/Signals.h"
#include "platform/posix/FileDescriptor.h"

namespace kelo {

class DescriptorWatch;
class EventLoop;

/// Receives signals through one signalfd. The constructor creates the signalfd, which is the only resource needed, so
/// `deliver` never fails. Signals are urgent: their handlers run before all waiting tasks, timers and handlers of the
/// loop.
///
/// Call `deliver` before starting any other thread: the signalfd receives a signal only if every thread blocks it, and
/// a new thread inherits the mask of its creator.
class SignalfdSignals : public Signals {
public:
    /// `loop` is borrowed. Throws `std::system_error` if no descriptor is left.
    explicit SignalfdSignals(EventLoop& loop);
    ~SignalfdSignals() override;

    /// Never returns null. Each signal may have at most one source at a time. The sources must be destroyed before this
    /// object.
    [[nodiscard]] std::unique_ptr<SignalSource> deliver(int signal, std::function<void()> onSignal) override;

private:
    class Source;

    void endDelivery(int signal);
    void changeSignals();
    void readSignals();

    sigset_t delivered_{};
    FileDescriptor descriptor_;
    /// Stored as shared pointers, because each handler is copied before it is called: a copy that allocated could fail
    /// and lose a signal.
    std::map<int, std::shared_ptr<const std::function<void()>>> handlers_;
    std::unique_ptr<DescriptorWatch> watch_;
};

} // namespace kelo
