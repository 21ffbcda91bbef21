#pragma once

#include <string>
#include <vector>

namespace kelo::doubles {

/// The parts of a code signature that requirements examine. An empty `team` means unsigned.
struct CodeSignature {
    std::string identifier;
    std::string team;
};

/// The state of launchd and XPC, set by tests.
struct XPCSystem {
    std::string service = "app.kelo.helper"; ///< The Mach service that the job owns.
    CodeSignature client = {"app.kelo.Kelo", "TEAM"};
    int clientProcess = 700;
    CodeSignature helper = {"app.kelo.helper", "TEAM"};
    bool isHelperShortOfMemory = false;                ///< The first allocation of the delegate fails.
    bool isClientShortOfMemory = false;                ///< The first allocation of a reply block fails.
    bool isRaising = false;                            ///< Every requirement is refused by an exception.
    const char* raisedReason = "raised by the double"; ///< Null if the exception has no reason.
};

XPCSystem& xpc();

void settleXPC();
bool isOnXPCQueue();

/// Runs the interruption handlers of the helper's connections.
void interruptConnections();
/// Ends every connection, as if the helper's process had ended.
void endConnections();
/// The origin of each reply, in order: "main thread", "XPC queue" or "another thread".
std::vector<std::string> replyOrigins();
/// The number of open connections that the helper has accepted.
int openConnections();

void resetXPC();

} // namespace kelo::doubles
