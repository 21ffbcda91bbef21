#pragma once

// Source: V (libdispatch, dispatch/{base,object,queue,source,time}.h). For C++ only: in Objective-C++ the object types
// are Objective-C types, whose mangled names differ.

#ifdef __OBJC__
#error "do not use dispatch objects in Objective-C++"
#endif

#include <stdint.h>

#pragma clang assume_nonnull begin

#define DISPATCH_NOTHROW __attribute__((__nothrow__))

extern "C" {

struct dispatch_object_s {
private:
    dispatch_object_s();
    ~dispatch_object_s();
    dispatch_object_s(const dispatch_object_s&);
    void operator=(const dispatch_object_s&);
};
typedef struct dispatch_object_s* dispatch_object_t;
typedef struct dispatch_queue_s : public dispatch_object_s{} * dispatch_queue_t;
typedef struct dispatch_queue_serial_s : public dispatch_queue_s{} * dispatch_queue_serial_t;
typedef struct dispatch_queue_main_s : public dispatch_queue_serial_s{} * dispatch_queue_main_t;
typedef struct dispatch_source_s : public dispatch_object_s{} * dispatch_source_t;

typedef void (*dispatch_function_t)(void* _Nullable);

#ifdef __APPLE__
extern struct dispatch_queue_s _dispatch_main_q;
inline dispatch_queue_main_t dispatch_get_main_queue(void) DISPATCH_NOTHROW { // get
    return static_cast<dispatch_queue_main_t>(&_dispatch_main_q);
}
#else
dispatch_queue_main_t dispatch_get_main_queue(void) DISPATCH_NOTHROW;
#endif
void dispatch_async_f(dispatch_queue_t queue, void* _Nullable context, dispatch_function_t work) DISPATCH_NOTHROW;

typedef uint64_t dispatch_time_t;
#define DISPATCH_TIME_NOW (0ull)
dispatch_time_t dispatch_time(dispatch_time_t when, int64_t delta) DISPATCH_NOTHROW;
void dispatch_after_f(dispatch_time_t when, dispatch_queue_t queue, void* _Nullable context,
                      dispatch_function_t work) DISPATCH_NOTHROW;

typedef const struct dispatch_source_type_s* dispatch_source_type_t;
extern const struct dispatch_source_type_s _dispatch_source_type_signal;
extern const struct dispatch_source_type_s _dispatch_source_type_vnode;
#define DISPATCH_SOURCE_TYPE_SIGNAL (&_dispatch_source_type_signal)
#define DISPATCH_SOURCE_TYPE_VNODE (&_dispatch_source_type_vnode)
#define DISPATCH_VNODE_DELETE 0x1
#define DISPATCH_VNODE_WRITE 0x2
#define DISPATCH_VNODE_EXTEND 0x4
#define DISPATCH_VNODE_ATTRIB 0x8
#define DISPATCH_VNODE_LINK 0x10
#define DISPATCH_VNODE_RENAME 0x20
#define DISPATCH_VNODE_REVOKE 0x40
#define DISPATCH_VNODE_FUNLOCK 0x100

// Returns an inactive source that the caller must release.
dispatch_source_t _Nullable dispatch_source_create(dispatch_source_type_t type, uintptr_t handle, uintptr_t mask,
                                                   dispatch_queue_t _Nullable queue) DISPATCH_NOTHROW;
void dispatch_source_set_event_handler_f(dispatch_source_t source,
                                         dispatch_function_t _Nullable handler) DISPATCH_NOTHROW;
void dispatch_source_set_cancel_handler_f(dispatch_source_t source,
                                          dispatch_function_t _Nullable handler) DISPATCH_NOTHROW;
void dispatch_source_set_registration_handler_f(dispatch_source_t source,
                                                dispatch_function_t _Nullable handler) DISPATCH_NOTHROW; // 10.7
void dispatch_source_cancel(dispatch_source_t source) DISPATCH_NOTHROW;
void dispatch_set_context(dispatch_object_t object, void* _Nullable context) DISPATCH_NOTHROW;
void dispatch_activate(dispatch_object_t object) DISPATCH_NOTHROW; // macOS 10.12; registers the source soon after
void dispatch_release(dispatch_object_t object) DISPATCH_NOTHROW;  // crashes if inactive or suspended

} // extern "C"

#pragma clang assume_nonnull end
