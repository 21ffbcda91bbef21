// Needs no library: emitted for a Mac's processors, to look at the types that XPC would compare.
#include "platform/macos/KeloHelperXPCProtocol.h"

Protocol* encodedProtocol() { return @protocol(KeloHelperProtocol); }
