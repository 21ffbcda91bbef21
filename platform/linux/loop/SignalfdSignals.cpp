#include "platform/linux/loop/SignalfdSignals.h"

#include <sys/signalfd.h>

#include <csignal>
#include <utility>

#include "platform/linux/loop/EventLoop.h"
#include "platform/posix/FileDescriptor.h"

namespace kelo {
namespace {

class SignalfdSource : public SignalSource {
public:
    SignalfdSource(EventLoop& loop, FileDescriptor descriptor, std::function<void()> onSignal)
        : descriptor_(std::move(descriptor)),
          watch_(loop.watch(descriptor_.get(), EventLoop::Readiness::readable, [this, onSignal = std::move(onSignal)] {
              if (takeSignal())
                  onSignal();
          })) {}

private:
    bool takeSignal() {
        signalfd_siginfo info;
        return read(descriptor_.get(), &info, sizeof info) == sizeof info;
    }

    FileDescriptor descriptor_;
    std::unique_ptr<DescriptorWatch> watch_;
};

sigset_t setOf(int signal) {
    sigset_t set;
    sigemptyset(&set);
    sigaddset(&set, signal);
    return set;
}

} // namespace

void SignalfdSignals::ignore(int signal) {
    // Blocked first: an ignored signal that is blocked is kept for the descriptor, one that is not is lost.
    const auto set = setOf(signal);
    sigprocmask(SIG_BLOCK, &set, nullptr);
    std::signal(signal, SIG_IGN);
}

std::unique_ptr<SignalSource> SignalfdSignals::deliver(int signal, std::function<void()> onSignal) {
    const auto set = setOf(signal);
    FileDescriptor descriptor(signalfd(-1, &set, SFD_CLOEXEC | SFD_NONBLOCK));
    if (!descriptor.isValid())
        return nullptr;
    return std::make_unique<SignalfdSource>(loop_, std::move(descriptor), std::move(onSignal));
}

} // namespace kelo
