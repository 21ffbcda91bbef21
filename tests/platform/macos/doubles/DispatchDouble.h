#pragma once

#include <string>

namespace kelo::doubles {

/// Makes dispatch_source_create fail.
void failSourceCreation(bool fails);

/// A signal for the process, as `kill` sends it. Lost by a source that has not been registered yet.
void arriveSignal(int signal);

/// Adds an event of every registered vnode source, whatever has become of its file; `flags` as DISPATCH_VNODE_….
void sendVnodeEvent(unsigned long flags);

/// "vnode 0x61 active main" for the last source made: type, mask, state, queue.
std::string lastSource();

void resetDispatch();

} // namespace kelo::doubles
