#pragma once

#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>

#include "core/hold/Clamshell.h"
#include "core/smc/SMCKeyData.h"

namespace kelo {

/// A command could not be carried out. `what()` is one sentence for the user.
class CommandRefused : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// The commands that drive the simulated Mac beside the running program. Each prints what it has to say on standard
/// output and throws `CommandRefused`.
namespace mac_commands {

/// Runs a simulated Mac until the process is asked to stop. The folder is made if there is none.
void serve(const std::string& profile, double heatSpeed, double clockSpeed);

void show(bool asJSON);
void setLid(const ClamshellProperty& state);
/// Waits until every client has acknowledged, for up to 30 s in each of the two rounds; `now` leaves out the first,
/// which asks whether the Mac may sleep.
void sleep(bool now);
void wake();
void setLoad(double load);
/// Holds a key at a value; none lets it go again.
void setKey(const std::string& key, std::optional<double> value);
/// Takes a fan to a speed; none gives it back to the system.
void interfere(int fan, std::optional<double> rpm);

void failExchange(int n);
/// On every key, and of every command, unless given.
void answerWith(const std::optional<std::string>& key, std::optional<SMCCommand> command, std::uint8_t result);
void reportSize(const std::string& key, std::uint32_t size);
void reportType(const std::string& key, const std::string& type);
void removeKey(const std::string& key);
void answerSlowly(double seconds);
void clearFaults();

} // namespace mac_commands
} // namespace kelo
