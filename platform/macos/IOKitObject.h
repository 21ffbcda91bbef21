#pragma once

#include <IOKit/IOKitLib.h>

namespace kelo {

/// Owns one IOKit object and releases it. Do not use it for a connection, whose port IOServiceClose releases.
class IOKitObject {
public:
    explicit IOKitObject(io_object_t object) : object_(object) {}
    IOKitObject(const IOKitObject&) = delete;
    IOKitObject& operator=(const IOKitObject&) = delete;
    ~IOKitObject() {
        if (object_ != IO_OBJECT_NULL)
            IOObjectRelease(object_); // fails only for an invalid object
    }

    /// Finds the first service of the class `className`. Returns an empty object if there is no such service.
    static IOKitObject matchingService(const char* className) {
        // Does not release the dictionary, since the lookup consumes it even if it finds nothing.
        return IOKitObject(IOServiceGetMatchingService(kIOMainPortDefault, IOServiceMatching(className)));
    }

    io_object_t get() const { return object_; }
    explicit operator bool() const { return object_ != IO_OBJECT_NULL; }

private:
    const io_object_t object_;
};

} // namespace kelo
