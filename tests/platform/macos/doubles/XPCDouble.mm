#include "tests/platform/macos/doubles/XPCDouble.h"

#include "tests/platform/macos/doubles/Journal.h"
#include "tests/platform/macos/doubles/SecurityDouble.h"
#include "tests/platform/macos/doubles/XPCState.h"

namespace kelo::doubles {

namespace {

XPCSystem theSystem;
XPCWorld theWorld;

/// Disconnects `server` from its client, whose next request reconnects. Returns the client's interruption handler, or
/// nothing if the client is no longer connected to `server`.
Copied<EmptyBlock> interruptClient(const ConnectionRef& server) {
    const auto client = server->client.lock();
    if (!client)
        return {};
    const std::lock_guard lock(client->mutex);
    NSXPCConnection* const connected = client->server.get();
    if (connected == nil || stateOf(connected) != server)
        return {};
    client->server = {};
    return client->interruptionHandler;
}

/// Ends `server`, the helper's end of a connection. Called on its queue.
void invalidateServer(const ConnectionRef& server) {
    std::unique_lock lock(server->mutex);
    if (std::exchange(server->isInvalid, true))
        return;
    const auto handler = std::exchange(server->invalidationHandler, {});
    const auto interruption = std::exchange(server->interruptionHandler, {});
    const auto object = std::exchange(server->exportedObject, {});
    const auto interface = std::exchange(server->exportedInterface, {});
    const auto requests = std::exchange(server->requests, {});
    lock.unlock();
    const auto clientInterruption = interruptClient(server);
    for (const auto& request : requests)
        request->fail(connectionInterrupted);
    for (const auto& called : {handler, clientInterruption})
        if (called.get() != nullptr)
            called.get()();
}

} // namespace

XPCSystem& xpc() { return theSystem; }

XPCWorld& xpcWorld() { return theWorld; }

ConnectionRef stateOf(NSXPCConnection* connection) {
    return std::static_pointer_cast<ConnectionState>(rawPayload(connection));
}

std::shared_ptr<ListenerState> stateOf(NSXPCListener* listener) {
    return std::static_pointer_cast<ListenerState>(rawPayload(listener));
}

void refuseMalformed(NSString* requirement) {
    if (theSystem.isRaising || !isRequirement(requirement.UTF8String))
        @throw [makeException(theSystem.raisedReason) autorelease];
}

void endServer(const ConnectionRef& server) {
    server->queue->async([server] { invalidateServer(server); });
}

void settleXPC() { SerialQueue::settleAll(); }

bool isOnXPCQueue() { return SerialQueue::isCurrentAny(); }

void interruptConnections() {
    const std::lock_guard lock(theWorld.mutex);
    for (const auto& server : theWorld.servers)
        server->queue->async([server] {
            std::unique_lock serverLock(server->mutex);
            const auto handler = server->interruptionHandler;
            serverLock.unlock();
            if (handler.get() != nullptr)
                handler.get()();
        });
}

void endConnections() {
    const std::lock_guard lock(theWorld.mutex);
    for (const auto& server : theWorld.servers)
        endServer(server);
}

std::vector<std::string> replyOrigins() {
    const std::lock_guard lock(theWorld.mutex);
    return theWorld.replyOrigins;
}

int openConnections() {
    const std::lock_guard lock(theWorld.mutex);
    int count = 0;
    for (const auto& server : theWorld.servers) {
        const std::lock_guard serverLock(server->mutex);
        count += server->isInvalid ? 0 : 1;
    }
    return count;
}

void resetXPC() {
    SerialQueue::joinAll();
    theSystem = XPCSystem();
    const std::lock_guard lock(theWorld.mutex);
    theWorld.listeners.clear();
    theWorld.servers.clear();
    theWorld.replyOrigins.clear();
}

} // namespace kelo::doubles
