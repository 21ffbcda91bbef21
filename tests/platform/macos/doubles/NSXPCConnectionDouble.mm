#include <string_view>

#include "tests/platform/macos/doubles/FailingAllocation.h"
#include "tests/platform/macos/doubles/Journal.h"
#include "tests/platform/macos/doubles/ObjCRuntime.h"
#include "tests/platform/macos/doubles/XPCState.h"

using namespace kelo::doubles;

namespace {

/// Journals a call that is only allowed before `resume`. Never throws.
void journalSetting(const ConnectionRef& connection, std::string_view what) {
    withEnoughMemory([&] { journal().add("NSXPCConnection " + std::string(what)); });
    if (connection->isResumed)
        journal().misuse(std::string(what) + " after resume");
}

/// Copies a handler for the lifetime of `connection`. An exception would end the process, because it cannot pass
/// through the platform's stack frames.
Copied<EmptyBlock> copyHandler(NSXPCConnection* connection, EmptyBlock handler) {
    const int references = referencesTo(connection);
    Copied<EmptyBlock> copy;
    callWithMemory(true, [&] { copy = Copied<EmptyBlock>(handler); });
    if (referencesTo(connection) != references)
        journal().misuse("a handler keeps its own connection alive");
    return copy;
}

/// Finds the registered protocol by its name: `@protocol` yields an unregistered record, whose second member is the
/// name.
Protocol* registeredProtocol(Protocol* protocol) {
    return objc_getProtocol(reinterpret_cast<const char* const*>(protocol)[1]);
}

} // namespace

@implementation NSXPCInterface

+ (NSXPCInterface*)interfaceWithProtocol:(Protocol*)protocol {
    NSXPCInterface* const interface = [[NSXPCInterface alloc] init];
    withEnoughMemory(
        [&] { setPayload(interface, std::make_shared<Interface>(Interface{registeredProtocol(protocol)})); });
    return [interface autorelease];
}

@end

@implementation NSXPCConnection

- (instancetype)initWithMachServiceName:(NSString*)name options:(NSXPCConnectionOptions)options {
    journal().add(std::string("NSXPCConnection initWithMachServiceName ") + name.UTF8String + " " + hex(options));
    const auto state = std::make_shared<ConnectionState>(true);
    state->name = name.UTF8String;
    state->options = options;
    setPayload(self, state);
    return self;
}

- (void)dealloc {
    const auto state = stateOf(self);
    if (state->isClient && !(state->isResumed && state->isInvalid))
        journal().misuse("a connection was released before it was resumed and invalidated");
    [super dealloc];
}

- (NSXPCInterface*)exportedInterface {
    return stateOf(self)->exportedInterface.get();
}

- (void)setExportedInterface:(NSXPCInterface*)interface {
    journalSetting(stateOf(self), "setExportedInterface");
    stateOf(self)->exportedInterface = Strong(interface);
}

- (id)exportedObject {
    return stateOf(self)->exportedObject.get();
}

- (void)setExportedObject:(id)object {
    journalSetting(stateOf(self), "setExportedObject");
    stateOf(self)->exportedObject = Strong(object);
}

- (NSXPCInterface*)remoteObjectInterface {
    return stateOf(self)->remoteInterface.get();
}

- (void)setRemoteObjectInterface:(NSXPCInterface*)interface {
    journalSetting(stateOf(self), "setRemoteObjectInterface");
    stateOf(self)->remoteInterface = Strong(interface);
}

- (pid_t)processIdentifier {
    return stateOf(self)->process;
}

- (void (^)(void))interruptionHandler {
    return stateOf(self)->interruptionHandler.get();
}

- (void)setInterruptionHandler:(void (^)(void))handler {
    journalSetting(stateOf(self), "setInterruptionHandler");
    stateOf(self)->interruptionHandler = copyHandler(self, handler);
}

- (void (^)(void))invalidationHandler {
    return stateOf(self)->invalidationHandler.get();
}

- (void)setInvalidationHandler:(void (^)(void))handler {
    journalSetting(stateOf(self), "setInvalidationHandler");
    stateOf(self)->invalidationHandler = copyHandler(self, handler);
}

- (void)setCodeSigningRequirement:(NSString*)requirement {
    const auto state = stateOf(self);
    journalSetting(state, std::string("setCodeSigningRequirement ") + requirement.UTF8String);
    refuseMalformed(requirement);
    if (state->requirement)
        journal().misuse("setCodeSigningRequirement twice");
    state->requirement = requirement.UTF8String;
}

- (void)resume {
    journal().add("NSXPCConnection resume");
    const auto state = stateOf(self);
    const std::lock_guard lock(state->mutex);
    if (std::exchange(state->isResumed, true))
        journal().misuse("a connection was resumed twice");
}

- (void)invalidate {
    journal().add("NSXPCConnection invalidate");
    const auto state = stateOf(self);
    std::unique_lock lock(state->mutex);
    state->isInvalid = true;
    const Strong server = std::exchange(state->server, {});
    lock.unlock();
    if (server.get() != nil)
        endServer(stateOf(static_cast<NSXPCConnection*>(server.get())));
}

- (id)synchronousRemoteObjectProxyWithErrorHandler:(void (^)(NSError*))handler {
    journal().add("NSXPCConnection synchronousRemoteObjectProxyWithErrorHandler");
    return makeProxy(self, handler);
}

@end
