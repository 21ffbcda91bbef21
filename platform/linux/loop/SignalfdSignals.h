#pragma once

#include <csignal>
#include <map>
#include <memory>

#include "helper/Signals.h"
#include "platform/posix/FileDescriptor.h"

namespace kelo {

class DescriptorWatch;
class EventLoop;

/// Signals through one signalfd. The signalfd is the only resource needed and is made at the start, so making a source
/// never fails. A signal is urgent: its handler runs before every task, timer and handler of the loop that waits.
///
/// To be used before any other thread is started: a signal is taken only if every thread has it blocked, and threads
/// inherit that from the one that starts them.
class SignalfdSignals : public Signals {
public:
    /// `loop` is borrowed. Throws `std::system_error` when the kernel gives no descriptor.
    explicit SignalfdSignals(EventLoop& loop);
    ~SignalfdSignals() override;

    /// At most one source for each signal at a time, destroyed before this. Never null.
    [[nodiscard]] std::unique_ptr<SignalSource> deliver(int signal, std::function<void()> onSignal) override;

private:
    class Source;

    void endDelivery(int signal);
    void changeSignals();
    void takeSignals();

    sigset_t delivered_{};
    FileDescriptor descriptor_;
    /// Shared: copying one allocates nothing, and so cannot lose the signal.
    std::map<int, std::shared_ptr<const std::function<void()>>> handlers_;
    std::unique_ptr<DescriptorWatch> watch_;
};

} // namespace kelo
