#pragma once

#include <string>

namespace kelo::doubles {

/// Makes dispatch_source_create fail.
void failSourceCreation(bool fails);

/// Sends the process a signal, as `kill` does. A source that is not registered yet misses it.
void arriveSignal(int signal);

/// Sends every registered vnode source an event, without regard to its file; `flags` as DISPATCH_VNODE_….
void sendVnodeEvent(unsigned long flags);

/// "vnode 0x61 active main" for the last source made: type, mask, state, queue.
std::string lastSource();

void resetDispatch();

} // namespace kelo::doubles
