#pragma once

#include <CoreFoundation/CoreFoundation.h>

#include <utility>

namespace kelo {

/// Owns one reference to a CoreFoundation object returned by a function with Create or Copy in its name. Do not use it
/// for an object from a function with Get in its name: such an object is borrowed.
template <typename Ref>
class CFReference {
public:
    CFReference() = default;
    explicit CFReference(Ref created) : ref_(created) {}
    CFReference(CFReference&& other) noexcept : ref_(std::exchange(other.ref_, nullptr)) {}
    CFReference& operator=(CFReference&& other) noexcept {
        std::swap(ref_, other.ref_);
        return *this;
    }
    ~CFReference() {
        if (ref_ != nullptr) // CFRelease crashes on null
            CFRelease(ref_);
    }

    Ref get() const { return ref_; }
    explicit operator bool() const { return ref_ != nullptr; }

    /// The address for a function that returns its object through a pointer. Use it only once, on an empty reference.
    Ref* out() { return &ref_; }

private:
    Ref ref_ = nullptr;
};

} // namespace kelo
