#pragma once

#include "helper/Signals.h"

namespace kelo {

/// Signals through dispatch sources. A source does not change a signal's effect: `ignore` it first.
class DispatchSignals : public Signals {
public:
    void ignore(int signal) override;
    [[nodiscard]] std::unique_ptr<SignalSource> deliver(int signal, std::function<void()> onSignal) override;
};

} // namespace kelo
