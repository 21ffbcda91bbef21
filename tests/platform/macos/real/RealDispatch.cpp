// Journals the calls to the real libdispatch. The linker redirects them to this file, which passes them on. Uses
// inotify to implement vnode sources, which libdispatch has only on a Mac. Declares the order of work to the thread
// sanitizer, because the library is not instrumented.

#include <dispatch/dispatch.h>
#include <sys/inotify.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <csignal>
#include <memory>
#include <string>
#include <vector>

#include "tests/platform/macos/doubles/DispatchDouble.h"
#include "tests/platform/macos/doubles/DispatchSourceRecord.h"
#include "tests/platform/macos/doubles/Journal.h"
#include "tests/platform/macos/doubles/PosixDouble.h"

extern "C" {
const dispatch_source_type_s keloVnodeSourceType = {"vnode"};

#if __has_feature(thread_sanitizer)
void __tsan_acquire(void* address);
void __tsan_release(void* address);

/// The thread sanitizer reads this list, because it cannot see the synchronization in the libraries. The list
/// suppresses libdispatch's own accesses to memory and descriptors, CoreFoundation's initialisation of new objects, and
/// CoreFoundation's locks (libdispatch takes some of them). Data races in the handlers are still reported.
const char* __tsan_default_suppressions();
const char* __tsan_default_suppressions() {
    return "called_from_lib:libdispatch.so\nrace:_CFRuntimeCreateInstance\nmutex:libFoundation.so\n";
}
#else
static void __tsan_acquire(void*) {}
static void __tsan_release(void*) {}
#endif

void __real_dispatch_async_f(dispatch_queue_t queue, void* context, dispatch_function_t work);
void __real_dispatch_after_f(dispatch_time_t when, dispatch_queue_t queue, void* context, dispatch_function_t work);
dispatch_source_t __real_dispatch_source_create(dispatch_source_type_t type, uintptr_t handle, uintptr_t mask,
                                                dispatch_queue_t queue);
void __real_dispatch_set_context(dispatch_object_t object, void* context);
void __real_dispatch_source_set_event_handler_f(dispatch_source_t source, dispatch_function_t handler);
void __real_dispatch_source_set_cancel_handler_f(dispatch_source_t source, dispatch_function_t handler);
void __real_dispatch_source_set_registration_handler_f(dispatch_source_t source, dispatch_function_t handler);
void __real_dispatch_activate(dispatch_object_t object);
void __real_dispatch_source_cancel(dispatch_source_t source);
void __real_dispatch_release(dispatch_object_t object);
}

namespace kelo::doubles {

namespace {

/// A dispatch source that the code under test has created. Never freed, because a handler may still run.
struct Source : DispatchSourceRecord {
    dispatch_source_t source;
    bool isReleased = false;
    int watch = -1;
};

std::vector<std::unique_ptr<Source>> made;
bool sourceCreationFails = false;
std::atomic<int> generation = 0; // incremented by each test, to identify its submissions

Source* find(const void* object) {
    for (auto source = made.rbegin(); source != made.rend(); ++source)
        if ((*source)->source == object && !(*source)->isReleased)
            return source->get();
    return nullptr;
}

/// Work submitted to a queue. Dropped if an earlier test submitted it.
struct Submission {
    void* context;
    dispatch_function_t work;
    int createdIn = generation;

    static void run(void* submitted) {
        const std::unique_ptr<Submission> self(static_cast<Submission*>(submitted));
        __tsan_acquire(self.get());
        if (self->createdIn == generation)
            self->work(self->context);
    }
};

Submission* submit(void* context, dispatch_function_t work) {
    auto* const submission = new Submission{context, work};
    __tsan_release(submission);
    return submission;
}

const char* nameOf(dispatch_queue_t queue) { return queue == dispatch_get_main_queue() ? "main" : "another queue"; }

int inotify() {
    static const int descriptor = inotify_init1(IN_NONBLOCK | IN_CLOEXEC);
    return descriptor;
}

/// Detects changes to the paths of the watched files.
void checkFiles(void*) {
    char events[4096];
    while (read(inotify(), events, sizeof events) > 0) {
    }
    for (const auto& source : made) {
        if (source->watch < 0 || source->isCancelled)
            continue;
        if (const unsigned long flags = source->updatePath(); flags != 0)
            dispatch_source_merge_data(source->source, flags);
    }
}

void watchFile(Source& source) {
    static const dispatch_source_t reader = [] {
        const auto created = __real_dispatch_source_create(
            DISPATCH_SOURCE_TYPE_READ, static_cast<std::uintptr_t>(inotify()), 0, dispatch_get_main_queue());
        __real_dispatch_source_set_event_handler_f(created, checkFiles);
        __real_dispatch_activate(created);
        return created;
    }();
    static_cast<void>(reader);
    const std::string link = "/proc/self/fd/" + std::to_string(source.handle);
    source.updatePath();
    source.watch = inotify_add_watch(inotify(), link.c_str(), IN_MOVE_SELF | IN_DELETE_SELF | IN_ATTRIB);
}

// The context of each libdispatch source points to its `Source`.

void onEvent(void* context) { static_cast<const Source*>(context)->runEventHandler(); }

void onCancelled(void* context) {
    auto& source = *static_cast<Source*>(context);
    source.runCancelHandler();
    if (source.isReleased)
        journal().destroyed("dispatch source");
}

void onRegistered(void* context) { static_cast<const Source*>(context)->runRegistrationHandler(); }

} // namespace

void failSourceCreation(bool fails) { sourceCreationFails = fails; }

void raiseSignal(int signal) {
    if (!isIgnored(signal))
        return journal().misuse("signal " + std::to_string(signal) + " has its default action: the process ends");
    // On a Mac a signal without a source is lost. Here libdispatch would keep it for the next source.
    const bool hasSource = std::any_of(made.begin(), made.end(), [signal](const auto& source) {
        return !source->isVnode && source->handle == static_cast<std::uintptr_t>(signal) && source->isActive &&
               !source->isCancelled && !source->isReleased;
    });
    if (hasSource)
        kill(getpid(), signal); // sources do not see signals sent to a single thread
}

void sendVnodeEvent(unsigned long flags) {
    for (const auto& source : made)
        if (source->isVnode && !source->isCancelled && (source->mask & flags) != 0)
            dispatch_source_merge_data(source->source, source->mask & flags);
}

std::string lastSource() { return describe(*made.back()); }

void resetDispatch() {
    ++generation;
    sourceCreationFails = false;
}

} // namespace kelo::doubles

using namespace kelo::doubles;

extern "C" {

void __wrap_dispatch_async_f(dispatch_queue_t queue, void* context, dispatch_function_t work) {
    journal().add(std::string("dispatch_async_f ") + nameOf(queue));
    __real_dispatch_async_f(queue, submit(context, work), Submission::run);
}

void __wrap_dispatch_after_f(dispatch_time_t when, dispatch_queue_t queue, void* context, dispatch_function_t work) {
    journal().add(std::string("dispatch_after_f ") + nameOf(queue));
    __real_dispatch_after_f(when, queue, submit(context, work), Submission::run);
}

dispatch_source_t __wrap_dispatch_source_create(dispatch_source_type_t type, uintptr_t handle, uintptr_t mask,
                                                dispatch_queue_t queue) {
    const bool isVnode = type == DISPATCH_SOURCE_TYPE_VNODE;
    const DispatchSourceRecord record{isVnode, handle, mask, queue == dispatch_get_main_queue()};
    journalCreation(record);
    if (sourceCreationFails)
        return nullptr;
    const auto created = isVnode ? __real_dispatch_source_create(DISPATCH_SOURCE_TYPE_DATA_OR, 0, 0, queue)
                                 : __real_dispatch_source_create(type, handle, mask, queue);
    made.push_back(std::make_unique<Source>(Source{record, created}));
    __real_dispatch_set_context(created, made.back().get());
    __real_dispatch_source_set_cancel_handler_f(created, onCancelled);
    journal().created("dispatch source");
    return created;
}

void __wrap_dispatch_set_context(dispatch_object_t object, void* context) {
    journal().add("dispatch_set_context");
    find(object)->context = context;
}

void __wrap_dispatch_source_set_event_handler_f(dispatch_source_t object, dispatch_function_t handler) {
    journal().add("dispatch_source_set_event_handler_f");
    find(object)->setEventHandler(handler);
    __real_dispatch_source_set_event_handler_f(object, onEvent);
}

void __wrap_dispatch_source_set_cancel_handler_f(dispatch_source_t object, dispatch_function_t handler) {
    journal().add("dispatch_source_set_cancel_handler_f");
    find(object)->cancelHandler = handler;
}

void __wrap_dispatch_source_set_registration_handler_f(dispatch_source_t object, dispatch_function_t handler) {
    journal().add("dispatch_source_set_registration_handler_f");
    find(object)->registrationHandler = handler;
    __real_dispatch_source_set_registration_handler_f(object, onRegistered);
}

void __wrap_dispatch_activate(dispatch_object_t object) {
    journal().add("dispatch_activate");
    auto& source = *find(object);
    source.isActive = true;
    if (source.isVnode)
        watchFile(source);
    __real_dispatch_activate(object);
}

void __wrap_dispatch_source_cancel(dispatch_source_t object) {
    journal().add("dispatch_source_cancel");
    auto& source = *find(object);
    source.isCancelled = true;
    if (source.watch >= 0)
        inotify_rm_watch(inotify(), source.watch);
    __real_dispatch_source_cancel(object);
}

void __wrap_dispatch_release(dispatch_object_t object) {
    journal().add("dispatch_release");
    auto& source = *find(object);
    __real_dispatch_release(object);
    source.isReleased = true;
    if (source.isFinished || !source.isCancelled)
        journal().destroyed("dispatch source");
}

} // extern "C"
