#include "platform/macos/DispatchSignals.h"

#include <csignal>
#include <utility>

#include "platform/macos/DispatchSource.h"

namespace kelo {

namespace {

class DispatchSignalSource : public SignalSource {
public:
    DispatchSignalSource(int signal, std::function<void()> onSignal)
        : source_(DispatchSource::forSignal(signal, {std::move(onSignal), [] {}, [this] { becomeReady(); }})) {}

    bool isMade() const { return source_ != nullptr; }

    void whenReady(const std::function<void()>& then) override {
        if (isReady_)
            then();
        else
            then_ = then;
    }

private:
    void becomeReady() {
        isReady_ = true;
        then_();
    }

    bool isReady_ = false;
    std::function<void()> then_ = [] {};
    const std::unique_ptr<DispatchSource> source_; // the last member: its handlers use the others
};

} // namespace

std::unique_ptr<SignalSource> DispatchSignals::deliver(int signal, std::function<void()> onSignal) {
    std::signal(signal, SIG_IGN); // a source does not disable a signal's default action
    auto source = std::make_unique<DispatchSignalSource>(signal, std::move(onSignal));
    if (source->isMade())
        return source;
    std::signal(signal, SIG_DFL);
    return nullptr;
}

} // namespace kelo
