// The linker redirects functions of the blocks runtime to this file, for two reasons. Copying a block must retain the
// objects that it captures, as on the platform. The thread sanitizer must know the order of a block's releases: the
// library is not instrumented, so a block called on one thread and freed on another would look like a race.

#include "tests/platform/macos/doubles/FoundationDouble.h"

namespace {

constexpr int isObject = 3; // BLOCK_FIELD_IS_OBJECT; any other flag means a block or a variable

NSObject* asObject(const void* captured) { return static_cast<NSObject*>(const_cast<void*>(captured)); }

/// Declares to the sanitizer that the block is freed after all threads have released it.
void orderBefore([[maybe_unused]] const void* block);

} // namespace

extern "C" {

void __real__Block_release(const void* block);
void __real__Block_object_assign(void* destination, const void* object, int flags);
void __real__Block_object_dispose(const void* object, int flags);

void __wrap__Block_release(const void* block) {
    orderBefore(block);
    __real__Block_release(block);
}

void __wrap__Block_object_assign(void* destination, const void* object, int flags) {
    if (flags == isObject)
        [asObject(object) retain];
    __real__Block_object_assign(destination, object, flags);
}

void __wrap__Block_object_dispose(const void* object, int flags) {
    orderBefore(object);
    if (flags == isObject)
        [asObject(object) release];
    __real__Block_object_dispose(object, flags);
}

#if defined(__has_feature)
#if __has_feature(thread_sanitizer)
void __tsan_acquire(void* address);
void __tsan_release(void* address);
#define KELO_THREAD_SANITIZER
#endif
#endif
}

namespace {

void orderBefore([[maybe_unused]] const void* block) {
#ifdef KELO_THREAD_SANITIZER
    __tsan_release(const_cast<void*>(block));
    __tsan_acquire(const_cast<void*>(block));
#endif
}

} // namespace
