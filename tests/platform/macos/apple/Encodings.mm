// encodings.sh compiles this file for a Mac's processors, without libraries, to inspect the types that XPC compares.
#include "platform/macos/KeloHelperXPCProtocol.h"

Protocol* encodedProtocol() { return @protocol(KeloHelperProtocol); }
