#include "simulator/model/Profile.h"

namespace kelo {

const std::vector<Profile>& Profile::all() {
    static const std::vector<Profile> profiles = {
        {"laptop",
         "a laptop with two fans and \"flt \" speeds",
         {{1200, 6000}, {1200, 5500}},
         smc_type::flt,
         "Tp09",
         {},
         true},
        {"desktop",
         "an older desktop with one fan and \"fpe2\" speeds",
         {{1000, 2800}},
         smc_type::fpe2,
         "Tp0T",
         {},
         false},
        {"locked",
         "a laptop whose controller grants manual mode a second after the unlock switch",
         {{1350, 6200}, {1350, 6200}},
         smc_type::flt,
         "Tp09",
         {true, 1.0},
         true},
        {"refusing",
         "a laptop whose controller never grants manual mode",
         {{1200, 6000}},
         smc_type::flt,
         "Tp09",
         {true, 1e9},
         true},
        {"fanless", "a laptop without fans", {}, smc_type::flt, "Tp09", {}, true},
        {"fixed", "a desktop whose one fan has an empty speed range", {{2000, 2000}}, smc_type::flt, "Tp09", {}, false},
    };
    return profiles;
}

std::vector<std::string> Profile::names() {
    std::vector<std::string> names;
    for (const auto& profile : all())
        names.push_back(profile.name);
    return names;
}

std::optional<Profile> Profile::named(std::string_view name) {
    for (const auto& profile : all())
        if (profile.name == name)
            return profile;
    return std::nullopt;
}

void Profile::defineKeys(SimulatedController& controller) const {
    controller.setUnlockRule(unlock);
    controller.defineNumber("FNum", smc_type::ui8, static_cast<double>(fans.size()));
    controller.defineNumber("Ftst", smc_type::ui8, 0);
    for (std::size_t i = 0; i < fans.size(); ++i) {
        const auto prefix = "F" + std::to_string(i);
        controller.defineNumber(prefix + "Ac", speedType, fans[i].minRPM);
        controller.defineNumber(prefix + "Mn", speedType, fans[i].minRPM);
        controller.defineNumber(prefix + "Mx", speedType, fans[i].maxRPM);
        controller.defineNumber(prefix + "Tg", speedType, fans[i].minRPM);
        controller.defineNumber(prefix + "Md", smc_type::ui8, 0);
    }
    controller.defineNumber(chipKey, smc_type::flt, 45);
    controller.defineNumber("Ts0S", smc_type::flt, 31);
    controller.defineNumber("Ts1P", smc_type::flt, 30);
    controller.defineNumber("TW0P", smc_type::flt, 36);
}

} // namespace kelo
