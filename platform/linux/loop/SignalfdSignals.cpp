#include "platform/linux/loop/SignalfdSignals.h"

#include <sys/signalfd.h>

#include <array>
#include <cerrno>
#include <system_error>
#include <utility>

#include "platform/linux/loop/EventLoop.h"
#include "platform/posix/Containment.h"

namespace kelo {
namespace {

sigset_t none() {
    sigset_t set;
    sigemptyset(&set);
    return set;
}

} // namespace

class SignalfdSignals::Source : public SignalSource {
public:
    Source(SignalfdSignals& signals, int signal) : signals_(signals), signal_(signal) {}
    ~Source() override { signals_.endDelivery(signal_); }

private:
    SignalfdSignals& signals_;
    int signal_;
};

SignalfdSignals::SignalfdSignals(EventLoop& loop)
    : delivered_(none()), descriptor_(signalfd(-1, &delivered_, SFD_CLOEXEC | SFD_NONBLOCK)) {
    if (!descriptor_.isValid())
        throw std::system_error(errno, std::generic_category(), "signalfd");
    watch_ = loop.watchUrgent(descriptor_.get(), [this] { readSignals(); });
}

SignalfdSignals::~SignalfdSignals() = default;

std::unique_ptr<SignalSource> SignalfdSignals::deliver(int signal, std::function<void()> onSignal) {
    auto source = std::make_unique<Source>(*this, signal);
    handlers_[signal] = std::make_shared<const std::function<void()>>(std::move(onSignal));
    sigaddset(&delivered_, signal);
    // Blocks the signal: ignoring it would discard a pending signal.
    sigprocmask(SIG_BLOCK, &delivered_, nullptr);
    changeSignals();
    return source;
}

void SignalfdSignals::endDelivery(int signal) {
    sigdelset(&delivered_, signal);
    changeSignals();
    handlers_.erase(signal);
}

/// Changes the signals of the existing descriptor. This cannot fail.
void SignalfdSignals::changeSignals() { signalfd(descriptor_.get(), &delivered_, 0); }

void SignalfdSignals::readSignals() {
    std::array<signalfd_siginfo, 16> taken;
    const auto bytes = read(descriptor_.get(), taken.data(), sizeof taken);
    const auto count = bytes > 0 ? static_cast<std::size_t>(bytes) / sizeof taken[0] : 0;
    for (std::size_t i = 0; i < count; ++i) {
        const auto found = handlers_.find(static_cast<int>(taken[i].ssi_signo));
        if (found == handlers_.end())
            continue;                        // an earlier handler has destroyed this source
        const auto onSignal = found->second; // the handler may destroy its source
        contain("the handler of a signal", *onSignal);
    }
}

} // namespace kelo
