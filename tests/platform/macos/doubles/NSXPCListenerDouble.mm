#include "tests/platform/macos/doubles/Journal.h"
#include "tests/platform/macos/doubles/XPCState.h"

using namespace kelo::doubles;

@implementation NSXPCListener

- (instancetype)initWithMachServiceName:(NSString*)name {
    journal().add(std::string("NSXPCListener initWithMachServiceName ") + name.UTF8String);
    if (name.UTF8String != xpc().service)
        journal().misuse("a listener for a Mach service that the job does not own");
    const auto state = std::make_shared<ListenerState>();
    state->name = name.UTF8String;
    state->listener = self;
    setPayload(self, state);
    const std::lock_guard lock(xpcWorld().mutex);
    xpcWorld().listeners[state->name] = state;
    return self;
}

- (id<NSXPCListenerDelegate>)delegate {
    return static_cast<id<NSXPCListenerDelegate>>(stateOf(self)->delegate);
}

- (void)setDelegate:(id<NSXPCListenerDelegate>)delegate {
    journal().add(delegate == nil ? "NSXPCListener setDelegate nil" : "NSXPCListener setDelegate");
    const auto state = stateOf(self);
    const std::lock_guard lock(state->mutex);
    if (state->isResumed && delegate != nil)
        journal().misuse("setDelegate after resume");
    state->delegate = static_cast<NSObject*>(delegate);
}

- (void)setConnectionCodeSigningRequirement:(NSString*)requirement {
    journal().add(std::string("NSXPCListener setConnectionCodeSigningRequirement ") + requirement.UTF8String);
    refuseMalformed(requirement);
    const auto state = stateOf(self);
    const std::lock_guard lock(state->mutex);
    if (state->isResumed)
        journal().misuse("setConnectionCodeSigningRequirement after resume");
    state->requirement = requirement.UTF8String;
}

- (void)resume {
    journal().add("NSXPCListener resume");
    const auto state = stateOf(self);
    const std::lock_guard lock(state->mutex);
    if (std::exchange(state->isResumed, true))
        journal().misuse("a listener was resumed twice");
}

- (void)invalidate {
    journal().add("NSXPCListener invalidate");
    const auto state = stateOf(self);
    {
        const std::lock_guard lock(state->mutex);
        state->isInvalid = true;
    }
    const std::lock_guard lock(xpcWorld().mutex);
    if (xpcWorld().listeners.contains(state->name) && xpcWorld().listeners.at(state->name) == state)
        xpcWorld().listeners.erase(state->name);
}

@end
