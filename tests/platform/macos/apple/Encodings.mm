// Compiled without libraries for a Mac's processors, to inspect the types that XPC would compare.
#include "platform/macos/KeloHelperXPCProtocol.h"

Protocol* encodedProtocol() { return @protocol(KeloHelperProtocol); }
