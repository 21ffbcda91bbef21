#include "prove/life/ControllerInputs.h"

#include <cstring>

#include "simulator/model/Profile.h"

namespace kelo {
namespace {

constexpr const char* keys[] = {"F0Md", "F1Md", "F0Tg", "F1Tg", "F0Ac", "F1Ac", "F0Mn",
                                "F1Mn", "F0Mx", "F1Mx", "FNum", "Ftst", "Tp09", "Tp0T"};
constexpr std::uint32_t types[] = {smc_type::flt, smc_type::ui8, smc_type::ui16, smc_type::fpe2, smcCode("none")};
constexpr std::uint32_t sizes[] = {4, 1, 2, 2, 4};

template <typename Choices>
const auto& chosen(const Choices& choices, double x) {
    return choices[static_cast<std::size_t>(x) % std::size(choices)];
}

void define(SimulatedController& controller, const Input& machine) {
    const std::vector<Profile::FanRange> ranges = {{1200, 6000}, {1200, 5500}, {1350, 6200}};
    constexpr SimulatedController::UnlockRule rules[] = {{false, 0}, {false, 0}, {true, 1.0}, {true, 1e9}};
    const auto fans = std::min(static_cast<std::size_t>(machine.x), ranges.size());
    const Profile profile{"",
                          "",
                          {ranges.begin(), ranges.begin() + static_cast<std::ptrdiff_t>(fans)},
                          machine.z != 0 ? smc_type::fpe2 : smc_type::flt,
                          "Tp09",
                          chosen(rules, machine.y),
                          true};
    profile.defineKeys(controller);
    if (machine.y == 0)
        controller.remove("Ftst");
}

/// Stores a value in a key of any type. If the type is not numeric, stores the bytes of a float.
void store(SimulatedController& controller, const std::string& key, double value) {
    if (!controller.has(key))
        return;
    if (controller.key(key).type != types[4])
        return controller.setNumber(key, value);
    const auto narrowed = static_cast<float>(value);
    std::memcpy(controller.key(key).bytes.data(), &narrowed, sizeof narrowed);
}

void retype(SimulatedController& controller, const std::string& key, double y) {
    if (!controller.has(key))
        return;
    controller.key(key).type = chosen(types, y);
    controller.key(key).size = chosen(sizes, y);
}

ExchangeFault faultOf(const Input& input, int next) {
    return {static_cast<ExchangeFault::Kind>(static_cast<int>(input.x) % 4),
            static_cast<ExchangeFault::Reach>(static_cast<int>(input.y) % 3), next + static_cast<int>(input.z)};
}

} // namespace

void applyToController(const Input& input, SimulatedController& controller, FaultyExchange& exchange) {
    const auto key = [&input] { return std::string(chosen(keys, input.x)); };
    switch (input.action) {
    case Input::Action::machine:
        return define(controller, input);
    case Input::Action::slowExchange:
        exchange.duration = input.x;
        return;
    case Input::Action::noController:
        exchange.isPresent = false;
        return;
    case Input::Action::chip:
        return store(controller, "Tp09", input.x);
    case Input::Action::value:
        return store(controller, key(), input.y);
    case Input::Action::type:
        return retype(controller, key(), input.y);
    case Input::Action::sizeLie:
        return controller.reportSize(key(), static_cast<std::uint32_t>(input.y));
    case Input::Action::remove:
        return controller.remove(key());
    case Input::Action::restore:
        controller.clearFaults();
        return define(controller, input);
    case Input::Action::unlockRule:
        return controller.setUnlockRule({input.x != 0, input.y});
    case Input::Action::fault:
        return exchange.inject(faultOf(input, exchange.count()));
    case Input::Action::noFault:
        return exchange.injectNothing();
    default:
        return;
    }
}

} // namespace kelo
