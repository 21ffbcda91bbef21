#include "platform/macos/DispatchSource.h"

#include <dispatch/dispatch.h>

#include <utility>

#include "platform/posix/Containment.h"

namespace kelo {

struct DispatchSource::Context {
    dispatch_source_t source;
    Handlers handlers;
    bool isCancelled = false;
};

std::unique_ptr<DispatchSource> DispatchSource::forSignal(int signal, Handlers handlers) {
    return activate(dispatch_source_create(DISPATCH_SOURCE_TYPE_SIGNAL, static_cast<std::uintptr_t>(signal), 0,
                                           dispatch_get_main_queue()),
                    std::move(handlers));
}

std::unique_ptr<DispatchSource> DispatchSource::forFile(int descriptor, Handlers handlers) {
    return activate(dispatch_source_create(DISPATCH_SOURCE_TYPE_VNODE, static_cast<std::uintptr_t>(descriptor),
                                           DISPATCH_VNODE_DELETE | DISPATCH_VNODE_RENAME | DISPATCH_VNODE_REVOKE,
                                           dispatch_get_main_queue()),
                    std::move(handlers));
}

std::unique_ptr<DispatchSource> DispatchSource::activate(void* created, Handlers handlers) {
    if (created == nullptr)
        return nullptr;
    const auto source = static_cast<dispatch_source_t>(created);
    auto* const context = new Context{source, std::move(handlers)};
    // Set the context first, since setting a handler may read the context. Set the handlers before activating the
    // source.
    dispatch_set_context(source, context);
    dispatch_source_set_event_handler_f(source, handleEvent);
    dispatch_source_set_cancel_handler_f(source, handleCancellation);
    dispatch_source_set_registration_handler_f(source, handleRegistration);
    dispatch_activate(source);
    return std::unique_ptr<DispatchSource>(new DispatchSource(context));
}

DispatchSource::~DispatchSource() { cancel(); }

void DispatchSource::cancel() {
    auto* const context = std::exchange(context_, nullptr);
    if (context == nullptr)
        return;
    context->isCancelled = true;
    const auto source = context->source;
    dispatch_source_cancel(source);
    dispatch_release(source); // the system keeps the source until it has handled the cancellation
}

void DispatchSource::handleEvent(void* context) {
    const auto& self = *static_cast<Context*>(context);
    if (!self.isCancelled)
        contain("the handler of a dispatch source", self.handlers.onEvent);
}

void DispatchSource::handleCancellation(void* context) {
    const std::unique_ptr<Context> self(static_cast<Context*>(context));
    contain("the cancel handler of a dispatch source", self->handlers.onCancelled);
}

void DispatchSource::handleRegistration(void* context) {
    const auto& self = *static_cast<Context*>(context);
    if (!self.isCancelled)
        contain("the registration handler of a dispatch source", self.handlers.onRegistered);
}

} // namespace kelo
