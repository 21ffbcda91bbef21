// The blocks runtime counts a block's references with atomic operations that the thread sanitizer does not see, since
// the library is not instrumented: a block that one thread has called and another one frees would look like a race. The
// linker sends both ways of giving a reference back by here.

namespace {

/// Whoever frees the block comes after everybody who has given it back.
void orderBefore([[maybe_unused]] const void* block);

} // namespace

extern "C" {

void __real__Block_release(const void* block);
void __real__Block_object_dispose(const void* object, int flags);

void __wrap__Block_release(const void* block) {
    orderBefore(block);
    __real__Block_release(block);
}

void __wrap__Block_object_dispose(const void* object, int flags) {
    orderBefore(object);
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
