#pragma once

#include <IOKit/IOKitLib.h>

namespace kelo {

/// Owns one IOKit object and releases it. Not for connections: IOServiceClose releases their port itself.
class IOKitObject {
public:
    explicit IOKitObject(io_object_t object) : object_(object) {}
    IOKitObject(const IOKitObject&) = delete;
    IOKitObject& operator=(const IOKitObject&) = delete;
    ~IOKitObject() {
        if (object_ != IO_OBJECT_NULL)
            IOObjectRelease(object_); // fails only for an invalid object
    }

    /// The first service of the class `className`; empty if there is none.
    static IOKitObject matchingService(const char* className) {
        // The lookup consumes the dictionary even if it finds nothing.
        return IOKitObject(IOServiceGetMatchingService(kIOMainPortDefault, IOServiceMatching(className)));
    }

    io_object_t get() const { return object_; }
    explicit operator bool() const { return object_ != IO_OBJECT_NULL; }

private:
    const io_object_t object_;
};

} // namespace kelo
