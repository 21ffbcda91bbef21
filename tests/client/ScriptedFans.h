#pragma once

#include <atomic>
#include <memory>
#include <optional>
#include <string>

#include "client/Surroundings.h"
#include "protocol/FanSnapshot.h"
#include "testing/LoopbackConnection.h"
#include "testing/ScriptedHelper.h"

namespace kelo {

/// A helper whose fans have a range of 1200 to 6000 RPM and obey at once.
class ScriptedFans : public ScriptedHelper {
public:
    // The content of the next snapshot; if `hasReadings` is false, there is no snapshot.
    bool hasReadings = true;
    std::int64_t fanCount = 2;
    bool isHeld = false;
    bool isAddingAir = false;
    bool lidHasFan = false;
    double fraction = 0.5;
    std::string warmth = "warm";
    std::optional<double> celsius = 61.5;
    bool takesFansBack = true; ///< The controller accepts automatic mode.

    void show(bool held, bool addingAir = false, bool lid = false) {
        isHeld = held;
        isAddingAir = addingAir;
        lidHasFan = lid;
    }
    FanSnapshot current() const {
        if (fanCount == 0)
            return {0, 0, 0, 0, 0, false, warmth, celsius, false, false};
        const double target = 1200 + fraction * 4800;
        return {fanCount, target - 2, 1200, 6000, target, isHeld, warmth, celsius, isAddingAir, lidHasFan};
    }

    void perform(requests::AnyCall call) override {
        std::visit([this](const auto& made) { prepare(made.request); }, call);
        ScriptedHelper::perform(std::move(call));
    }

private:
    void prepare(const requests::FetchSnapshot&) {
        snapshot = hasReadings ? std::optional(current().encoded()) : std::nullopt;
    }
    void prepare(const requests::Hold& hold) {
        if (!error) {
            isHeld = true;
            fraction = hold.fraction;
        }
    }
    void prepare(const requests::HandBack&) { show(isHeld && !takesFansBack); }
    template <typename Request>
    void prepare(const Request&) {}
};

/// Surroundings in which tests can stop and start the helper, and no command can be run. The threads of requests share
/// `state`, because they may outlive a test in which a request times out.
struct ScriptedSurroundings {
    struct State {
        const std::shared_ptr<ScriptedFans> fans = std::make_shared<ScriptedFans>();
        std::atomic<bool> isHelperRunning = true;
        std::atomic<int> connections = 0;
    };

    const std::shared_ptr<State> state = std::make_shared<State>();
    const std::shared_ptr<ScriptedFans>& fans = state->fans;
    std::atomic<bool>& isHelperRunning = state->isHelperRunning;
    std::atomic<int>& connections = state->connections;
    Surroundings all{.connect = [state = state] { return connect(*state); },
                     .run = [](const CommandWords&) { return std::optional<Ran>(); },
                     .start = {},
                     .executable = "kelo",
                     .home = "/home/owner",
                     .isMac = true};

    ScriptedSurroundings() {
        fans->answer = [weak = std::weak_ptr(state)](const std::function<void()>& reply) {
            if (const auto held = weak.lock(); held && held->isHelperRunning)
                reply(); // otherwise the helper exits during a request
        };
    }
    static std::unique_ptr<HelperConnection> connect(State& state) {
        ++state.connections;
        if (!state.isHelperRunning)
            throw HelperUnreachable("The helper is not running.");
        return std::make_unique<LoopbackConnection>(state.fans, [](LoopbackConnection&) {});
    }
};

} // namespace kelo
