#pragma once

#include "helper/Signals.h"

namespace kelo {

/// Delivers signals through dispatch sources. A signal that arrives before its source is ready is lost.
class DispatchSignals : public Signals {
public:
    [[nodiscard]] std::unique_ptr<SignalSource> deliver(int signal, std::function<void()> onSignal) override;
};

} // namespace kelo
