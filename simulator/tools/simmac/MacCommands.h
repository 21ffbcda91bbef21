#pragma once

#include <memory>
#include <string>

#include "simulator/link/HardwareLink.h"

namespace kelo::mac_commands {

/// Runs a simulated Mac beside this program until the process is asked to stop. The folder is made if there is none.
/// Throws `std::exception`, whose text is one sentence for the user, as all functions here.
void serve(const std::string& profile, double heatSpeed, double clockSpeed);

/// Connects to the Mac that runs beside this program.
std::unique_ptr<HardwareLink> connect();

/// Makes one call on it.
template <typename Call>
typename Call::Answer call(const Call& call) {
    return connect()->call(call);
}

/// Prints the state of the Mac.
void show(bool asJSON);

/// Puts the Mac to sleep and prints the report.
void sleep(const hardware_calls::Sleep& call);

} // namespace kelo::mac_commands
