#include "tests/platform/macos/doubles/DispatchDouble.h"

#include <dispatch/dispatch.h>

#include <memory>
#include <utility>
#include <vector>

#include "tests/platform/macos/doubles/DispatchSourceRecord.h"
#include "tests/platform/macos/doubles/Journal.h"
#include "tests/platform/macos/doubles/MainLoop.h"
#include "tests/platform/macos/doubles/PosixDouble.h"

extern "C" {
extern const dispatch_source_type_s _dispatch_source_type_signal = {"signal"};
extern const dispatch_source_type_s _dispatch_source_type_vnode = {"vnode"};
}

namespace kelo::doubles {

namespace {

const char mainQueue = 0;

constexpr double leeway = 0.1; // the platform may extend a delay by up to this fraction

struct Source : DispatchSourceRecord {
    bool isRegistered = false; // the system reports events to it
    int references = 1;
    bool isEventPending = false;
};

std::vector<std::unique_ptr<Source>> sources;
bool sourceCreationFails = false;

Source& asSource(const dispatch_object_s* object) {
    return *reinterpret_cast<Source*>(const_cast<dispatch_object_s*>(object));
}

/// Merges events that arrive before the handler has run.
void addEvent(Source& source) {
    if (!source.isRegistered || source.isCancelled || source.isEventPending)
        return;
    source.isEventPending = true;
    mainLoop().post(0, [&source] {
        source.isEventPending = false;
        if (!source.isCancelled)
            source.runEventHandler();
    });
}

/// Adds the events that have occurred on the watched files since the last poll.
void pollFiles() {
    for (const auto& source : sources)
        if (source->isVnode && source->isRegistered && source->updatePath() != 0)
            addEvent(*source);
}

/// Registers the source, some time after its activation. Earlier events are lost.
void registerSource(Source& source) {
    if (source.isCancelled)
        return;
    source.isRegistered = true;
    if (source.isVnode)
        source.updatePath();
    source.runRegistrationHandler();
}

void postCancelHandler(Source& source) {
    mainLoop().post(0, [&source] {
        source.runCancelHandler();
        if (source.references == 0)
            journal().destroyed("dispatch source");
    });
}

} // namespace

void failSourceCreation(bool fails) { sourceCreationFails = fails; }

void raiseSignal(int signal) {
    if (!isIgnored(signal))
        journal().misuse("signal " + std::to_string(signal) + " has its default action: the process ends");
    for (auto source = sources.rbegin(); source != sources.rend(); ++source) // the newest source fires first
        if (!(*source)->isVnode && (*source)->handle == static_cast<std::uintptr_t>(signal))
            addEvent(**source);
}

void sendVnodeEvent(unsigned long flags) {
    for (const auto& source : sources)
        if (source->isVnode && (source->mask & flags) != 0)
            addEvent(*source);
}

std::string lastSource() { return describe(*sources.back()); }

void resetDispatch() {
    sources.clear();
    sourceCreationFails = false;
    mainLoop().addPoll(pollFiles);
}

} // namespace kelo::doubles

using namespace kelo::doubles;

extern "C" {

dispatch_queue_main_t dispatch_get_main_queue() {
    return reinterpret_cast<dispatch_queue_main_t>(const_cast<char*>(&mainQueue));
}

void dispatch_async_f(dispatch_queue_t queue, void* context, dispatch_function_t work) {
    journal().add(queue == dispatch_get_main_queue() ? "dispatch_async_f main" : "dispatch_async_f another queue");
    mainLoop().post(0, [context, work] { work(context); });
}

dispatch_time_t dispatch_time(dispatch_time_t when, int64_t delta) {
    if (when != DISPATCH_TIME_NOW)
        journal().misuse("dispatch_time from a moment other than now");
    if (delta < 0)
        journal().misuse("dispatch_time into the past");
    return 1 + static_cast<dispatch_time_t>(mainLoop().now() * 1e9) + static_cast<dispatch_time_t>(delta);
}

void dispatch_after_f(dispatch_time_t when, dispatch_queue_t queue, void* context, dispatch_function_t work) {
    journal().add(queue == dispatch_get_main_queue() ? "dispatch_after_f main" : "dispatch_after_f another queue");
    const double delay = static_cast<double>(when - 1) / 1e9 - mainLoop().now();
    mainLoop().post(delay * (1 + leeway), [context, work] { work(context); });
}

dispatch_source_t dispatch_source_create(dispatch_source_type_t type, uintptr_t handle, uintptr_t mask,
                                         dispatch_queue_t queue) {
    const bool isVnode = type == DISPATCH_SOURCE_TYPE_VNODE;
    auto source = std::make_unique<Source>(Source{{isVnode, handle, mask, queue == dispatch_get_main_queue()}});
    journalCreation(*source);
    if (sourceCreationFails)
        return nullptr;
    journal().created("dispatch source");
    sources.push_back(std::move(source));
    return reinterpret_cast<dispatch_source_t>(sources.back().get());
}

void dispatch_set_context(dispatch_object_t object, void* context) {
    journal().add("dispatch_set_context");
    asSource(object).context = context;
}

void dispatch_source_set_event_handler_f(dispatch_source_t object, dispatch_function_t handler) {
    journal().add("dispatch_source_set_event_handler_f");
    asSource(object).setEventHandler(handler);
}

void dispatch_source_set_cancel_handler_f(dispatch_source_t object, dispatch_function_t handler) {
    journal().add("dispatch_source_set_cancel_handler_f");
    asSource(object).cancelHandler = handler;
}

void dispatch_source_set_registration_handler_f(dispatch_source_t object, dispatch_function_t handler) {
    journal().add("dispatch_source_set_registration_handler_f");
    asSource(object).registrationHandler = handler;
}

void dispatch_activate(dispatch_object_t object) {
    journal().add("dispatch_activate");
    auto& source = asSource(object);
    if (!std::exchange(source.isActive, true))
        mainLoop().post(0, [&source] { registerSource(source); });
}

void dispatch_source_cancel(dispatch_source_t object) {
    journal().add("dispatch_source_cancel");
    auto& source = asSource(object);
    if (source.references <= 0)
        journal().misuse("dispatch_source_cancel of a released source");
    if (!std::exchange(source.isCancelled, true))
        postCancelHandler(source);
}

void dispatch_release(dispatch_object_t object) {
    journal().add("dispatch_release");
    auto& source = asSource(object);
    if (!source.isActive)
        journal().misuse("Release of an inactive object");
    if (--source.references < 0)
        journal().misuse("dispatch_release of a released source");
    if (source.references > 0)
        return;
    if (!source.isCancelled) // runs no cancel handler
        source.isCancelled = source.isFinished = true;
    if (source.isFinished)
        journal().destroyed("dispatch source");
}

} // extern "C"
