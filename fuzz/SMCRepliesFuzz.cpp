// Interprets the input as answers of a controller: for each exchange, a byte for success or failure, and a reply.

#include <algorithm>
#include <cmath>
#include <cstring>

#include "core/fan/Clock.h"
#include "core/fan/FanController.h"
#include "core/smc/SMCExchange.h"
#include "core/smc/smc.h"
#include "fuzz/FuzzTarget.h"
#include "testing/ScriptedRights.h"

namespace {

using kelo::mustHold;

class FuzzedExchange : public kelo::SMCExchange {
public:
    FuzzedExchange(const std::uint8_t* data, std::size_t size) : data_(data), left_(size) {}

    std::uint32_t open() override { return 1; }
    bool exchange(std::uint32_t, const SMCKeyData&, SMCKeyData& reply) noexcept override {
        if (left_ == 0)
            return false;
        const bool succeeds = *data_ != 0;
        const auto count = std::min(left_ - 1, sizeof reply);
        std::memcpy(&reply, data_ + 1, count);
        data_ += count + 1;
        left_ -= count + 1;
        return succeeds;
    }
    void close(std::uint32_t) noexcept override {}

private:
    const std::uint8_t* data_;
    std::size_t left_;
};

/// A clock that advances with each call, so that retries end soon.
class FastClock : public kelo::Clock {
public:
    double now() override { return now_ += 1; }
    void sleep(double seconds) override { now_ += seconds; }

private:
    double now_ = 0;
};

void useEverything(kelo::FanController& controller) {
    for (const auto& fan : controller.fans())
        mustHold(fan.minRPM < fan.maxRPM && fan.index < controller.fanCount(), "a listed fan is usable");
    controller.chipTemperature();
    controller.enclosureTemperatures();
    controller.warmth();
    try {
        controller.engageManual(0);
        const double target = controller.setTarget(0, 3000);
        mustHold(!std::isnan(target), "a target is never NaN");
    } catch (const kelo::FanError& error) {
        mustHold(!error.errorDescription().empty(), "an error has a text");
    }
    controller.restoreAuto();
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    FuzzedExchange exchange(data, size);
    FastClock clock;
    kelo::ScriptedRights rights;
    try {
        kelo::FanController controller(exchange, clock, rights);
        useEverything(controller);
    } catch (const kelo::FanError&) {
        // The controller reports no fans.
    }
    return 0;
}
