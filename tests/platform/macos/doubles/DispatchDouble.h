#pragma once

#include <string>

namespace kelo::doubles {

void failSourceCreation(bool fails);

/// Sends the process a signal, as `kill` does. A source that is not registered yet misses it.
void raiseSignal(int signal);

/// Sends an event to every registered vnode source, regardless of its file. `flags` is a combination of DISPATCH_VNODE_
/// constants.
void sendVnodeEvent(unsigned long flags);

/// Describes the last source created: type, mask, state, queue, as in "vnode 0x61 active main".
std::string lastSource();

void resetDispatch();

} // namespace kelo::doubles
