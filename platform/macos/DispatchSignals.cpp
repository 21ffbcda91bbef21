#include "platform/macos/DispatchSignals.h"

#include <csignal>
#include <utility>

#include "platform/macos/DispatchSource.h"

namespace kelo {

namespace {

class DispatchSignalSource : public SignalSource {
public:
    explicit DispatchSignalSource(std::unique_ptr<DispatchSource> source) : source_(std::move(source)) {}

private:
    const std::unique_ptr<DispatchSource> source_;
};

} // namespace

std::unique_ptr<SignalSource> DispatchSignals::deliver(int signal, std::function<void()> onSignal) {
    std::signal(signal, SIG_IGN); // a source does not change a signal's effect
    auto source = DispatchSource::forSignal(signal, {std::move(onSignal), [] {}});
    if (!source) {
        std::signal(signal, SIG_DFL);
        return nullptr;
    }
    return std::make_unique<DispatchSignalSource>(std::move(source));
}

} // namespace kelo
