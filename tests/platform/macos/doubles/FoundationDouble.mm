#include "tests/platform/macos/doubles/FoundationDouble.h"

#include <atomic>
#include <cstdlib>
#include <cstring>
#include <mutex>

#include "tests/platform/macos/doubles/FailingAllocation.h"
#include "tests/platform/macos/doubles/FoundationReset.h"
#include "tests/platform/macos/doubles/Journal.h"
#include "tests/platform/macos/doubles/ObjCRuntime.h"

/// The leak sanitizer reads this list. It suppresses the runtime's own tables, which are never freed. Leaked objects
/// are still reported, because the runtime allocates them with a different function.
extern "C" const char* __lsan_default_suppressions();
const char* __lsan_default_suppressions() { return "leak:objc_malloc\n"; }

Class object_getClass(id object) { return *static_cast<Class*>(static_cast<void*>(object)); }

namespace kelo::doubles {

namespace {

struct ObjectState {
    std::atomic<int> references = 1;
    std::string className;
    std::shared_ptr<void> payload;
};

ObjectState& stateOf(NSObject* object) { return *static_cast<ObjectState*>(object->double_); }

std::mutex deadMutex;
std::vector<NSObject*> deadObjects;

struct Pool {
    NSObject* owner;
    std::vector<NSObject*> objects;
};

/// The thread's pools, outermost first.
thread_local std::vector<Pool> pools;

/// Runs the constructors or destructors of the C++ members that `cls` itself declares, as the platform's runtime does.
void runMembers(id object, Class cls, const char* name) {
    unsigned int count = 0;
    Method* const methods = class_copyMethodList(cls, &count);
    for (unsigned int i = 0; i < count; ++i)
        if (std::strcmp(sel_getName(method_getName(methods[i])), name) == 0) // several selectors may have the same name
            reinterpret_cast<void (*)(id, SEL)>(method_getImplementation(methods[i]))(object, sel_registerName(name));
    std::free(methods);
}

void constructMembers(id object, Class cls) {
    if (cls == nullptr)
        return;
    constructMembers(object, class_getSuperclass(cls)); // base class first
    runMembers(object, cls, ".cxx_construct");
}

void destroyMembers(id object) {
    for (Class cls = object_getClass(object); cls != nullptr; cls = class_getSuperclass(cls))
        runMembers(object, cls, ".cxx_destruct");
}

} // namespace

} // namespace kelo::doubles

using namespace kelo::doubles;

/// The class of destroyed objects: reports their use.
__attribute__((objc_root_class))
@interface KeloDeadObject {
    Class isa;
    void* double_;
}
+ (Class)class;
- (id)retain;
- (void)release;
@end

@implementation KeloDeadObject
+ (Class)class {
    return self;
}
- (id)retain {
    journal().misuse("retain of a destroyed object");
    return self;
}
- (void)release {
    journal().misuse("release of a destroyed object");
}
@end

namespace kelo::doubles {

namespace {

void bury(NSObject* object) {
    journal().destroyed(stateOf(object).className);
    delete &stateOf(object);
    object_setClass(object, [KeloDeadObject class]);
    const std::lock_guard lock(deadMutex);
    deadObjects.push_back(object);
}

} // namespace

void setPayload(NSObject* object, std::shared_ptr<void> payload) { stateOf(object).payload = std::move(payload); }

std::shared_ptr<void> rawPayload(NSObject* object) { return stateOf(object).payload; }

int referencesTo(NSObject* object) { return stateOf(object).references; }

void runInPool(const std::function<void()>& work) {
    @autoreleasepool {
        work();
    }
}

void resetFoundation() {
    const std::lock_guard lock(deadMutex);
    for (NSObject* const object : deadObjects)
        object_dispose(object);
    deadObjects.clear();
}

} // namespace kelo::doubles

@implementation NSObject

+ (instancetype)alloc {
    NSObject* const object = class_createInstance(self, 0);
    withEnoughMemory([object, self] { // alloc never throws
        object->double_ = new ObjectState;
        stateOf(object).className = class_getName(self);
        journal().created(stateOf(object).className);
        constructMembers(object, self);
    });
    return object;
}

- (instancetype)init {
    return self;
}

- (instancetype)retain {
    ++stateOf(self).references;
    return self;
}

- (oneway void)release {
    if (--stateOf(self).references == 0)
        [self dealloc];
}

- (instancetype)autorelease {
    if (pools.empty())
        journal().misuse(stateOf(self).className + " was autoreleased on a thread that has no pool");
    else
        withEnoughMemory([self] { pools.back().objects.push_back(self); });
    return self;
}

- (void)dealloc {
    destroyMembers(self);
    bury(self);
}

@end

@implementation NSAutoreleasePool

- (instancetype)init {
    withEnoughMemory([self] { pools.push_back({self, {}}); });
    return self;
}

/// Also drains inner pools that an exception has skipped.
- (void)drain {
    for (bool isOurs = false; !isOurs;) {
        while (!pools.back().objects.empty()) { // a release may autorelease further objects
            NSObject* const object = pools.back().objects.back();
            pools.back().objects.pop_back();
            [object release];
        }
        NSObject* const owner = pools.back().owner;
        pools.pop_back();
        isOurs = owner == self;
        [owner release];
    }
}

@end

namespace {

struct StringPayload {
    std::string utf8;
    bool isConvertible = true;
};

/// Returns whether `text` is valid UTF-8. The check is strict enough for the tests.
bool isUTF8(const std::string& text) {
    for (std::size_t i = 0; i < text.size();) {
        const auto lead = static_cast<unsigned char>(text[i]);
        const std::size_t length = lead < 0x80 ? 1 : lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : lead >= 0xC2 ? 2 : 0;
        if (length == 0 || lead > 0xF4 || i + length > text.size())
            return false;
        for (std::size_t k = 1; k < length; ++k)
            if ((static_cast<unsigned char>(text[i + k]) & 0xC0) != 0x80)
                return false;
        i += length;
    }
    return true;
}

std::string fromLatin1(const std::string& bytes) {
    std::string utf8;
    for (const char byte : bytes) {
        const auto value = static_cast<unsigned char>(byte);
        if (value < 0x80) {
            utf8 += byte;
        } else {
            utf8 += static_cast<char>(0xC0 | value >> 6);
            utf8 += static_cast<char>(0x80 | (value & 0x3F));
        }
    }
    return utf8;
}

struct DataPayload {
    std::vector<std::uint8_t> bytes;
};

struct ErrorPayload {
    NSInteger code;
    std::string description;
};

struct ExceptionPayload {
    std::string reason;
    bool hasReason;
};

} // namespace

@implementation NSString

- (instancetype)initWithBytes:(const void*)bytes length:(NSUInteger)length encoding:(NSStringEncoding)encoding {
    const std::string text(static_cast<const char*>(bytes), length);
    if (encoding == NSUTF8StringEncoding && !isUTF8(text)) {
        [self release];
        return nil;
    }
    if (encoding != NSUTF8StringEncoding && encoding != NSISOLatin1StringEncoding)
        journal().misuse("a string in an unexpected encoding");
    const bool isLatin1 = encoding == NSISOLatin1StringEncoding;
    setPayload(self, std::make_shared<StringPayload>(StringPayload{isLatin1 ? fromLatin1(text) : text}));
    return self;
}

- (const char*)UTF8String {
    const auto& string = payload<StringPayload>(self);
    return string.isConvertible ? string.utf8.c_str() : nullptr;
}

@end

@implementation NSData

- (instancetype)initWithBytes:(const void*)bytes length:(NSUInteger)length {
    const auto* const first = static_cast<const std::uint8_t*>(bytes);
    setPayload(self, std::make_shared<DataPayload>(DataPayload{{first, first + length}}));
    return self;
}

- (const void*)bytes {
    const auto& data = payload<DataPayload>(self);
    return data.bytes.empty() ? nullptr : data.bytes.data();
}

- (NSUInteger)length {
    return payload<DataPayload>(self).bytes.size();
}

@end

@implementation NSError

- (NSString*)localizedDescription {
    return [makeString(payload<ErrorPayload>(self).description) autorelease];
}

@end

@implementation NSException

- (NSString*)reason {
    const auto& exception = payload<ExceptionPayload>(self);
    return exception.hasReason ? [makeString(exception.reason) autorelease] : nil;
}

@end

namespace kelo::doubles {

NSString* makeString(const std::string& text) {
    return [[NSString alloc] initWithBytes:text.data() length:text.size() encoding:NSUTF8StringEncoding];
}

NSString* makeStringWithoutUTF8() {
    NSString* const string = makeString("");
    payload<StringPayload>(string).isConvertible = false;
    return string;
}

NSError* makeError(NSInteger code, const std::string& description) {
    NSError* const error = [[NSError alloc] init];
    setPayload(error, std::make_shared<ErrorPayload>(ErrorPayload{code, description}));
    return error;
}

NSException* makeException(const char* reason) {
    NSException* const exception = [[NSException alloc] init];
    setPayload(exception, std::make_shared<ExceptionPayload>(
                              ExceptionPayload{reason == nullptr ? "" : reason, reason != nullptr}));
    return exception;
}

} // namespace kelo::doubles
