#pragma once

#include "client/HelperConnection.h"
#include "client/Terminal.h"

namespace kelo {

/// The commands of `kelo` that ask the helper once. Each throws `HelperRefused` or `HelperUnreachable` when it fails.
namespace commands {

/// Prints the state of the fans: as the helper's JSON, or for people.
void status(HelperConnection& helper, Terminal& terminal, bool asJSON);

void handBack(HelperConnection& helper, Terminal& terminal);
void version(HelperConnection& helper, Terminal& terminal);
void standDown(HelperConnection& helper, Terminal& terminal);

} // namespace commands
} // namespace kelo
