#include <Block.h>

#include <cstdint>
#include <cstring>

#include "tests/platform/macos/doubles/FoundationDouble.h"
#include "tests/platform/macos/doubles/ObjCRuntime.h"

// What the compiler calls for automatic reference counting. The runtime here has none of it; on a Mac it belongs to the
// system.

extern "C" {

extern void* _NSConcreteStackBlock[32];
extern void* _NSConcreteMallocBlock[32];
extern void* _NSConcreteGlobalBlock[32];

id objc_retain(id object);
id objc_autorelease(id object);
id objc_retainBlock(id block);
id objc_retainAutorelease(id object);
id objc_retainAutoreleasedReturnValue(id object);
id objc_autoreleaseReturnValue(id object);
id objc_retainAutoreleaseReturnValue(id object);
id objc_unsafeClaimAutoreleasedReturnValue(id object);
void objc_storeStrong(id* place, id object);
void* objc_autoreleasePoolPush();
void objc_autoreleasePoolPop(void* pool);
}

namespace {

const void* isaOf(id object) { return *static_cast<void**>(static_cast<void*>(object)); }

/// Blocks are no objects here.
bool isBlock(id object) {
    const void* const isa = isaOf(object);
    return isa == _NSConcreteStackBlock || isa == _NSConcreteMallocBlock || isa == _NSConcreteGlobalBlock;
}

/// Protocols are never released. A number stands for the class of those that nobody has registered.
bool isProtocol(id object) {
    return reinterpret_cast<std::uintptr_t>(isaOf(object)) < 16 ||
           std::strcmp(class_getName(object_getClass(object)), "Protocol") == 0;
}

} // namespace

id objc_retain(id object) {
    if (object == nil)
        return nil;
    if (isBlock(object))
        return static_cast<id>(_Block_copy(object));
    return isProtocol(object) ? object : [object retain];
}

void objc_release(id object) {
    if (object == nil)
        return;
    if (isBlock(object))
        _Block_release(object);
    else if (!isProtocol(object))
        [object release];
}

id objc_autorelease(id object) { return object == nil ? nil : kelo::doubles::addToPool(object); }

id objc_retainBlock(id block) { return block == nil ? nil : static_cast<id>(_Block_copy(block)); }
id objc_retainAutorelease(id object) { return objc_autorelease(objc_retain(object)); }
id objc_retainAutoreleasedReturnValue(id object) { return objc_retain(object); }
id objc_autoreleaseReturnValue(id object) { return objc_autorelease(object); }
id objc_retainAutoreleaseReturnValue(id object) { return objc_retainAutorelease(object); }
id objc_unsafeClaimAutoreleasedReturnValue(id object) { return object; }

void objc_storeStrong(id* place, id object) {
    const id former = *place;
    *place = objc_retain(object);
    objc_release(former);
}

void* objc_autoreleasePoolPush() { return [[NSAutoreleasePool alloc] init]; }
void objc_autoreleasePoolPop(void* pool) { [static_cast<NSAutoreleasePool*>(pool) drain]; }
