#pragma once

#import <Foundation/Foundation.h>

#include <Block.h>

#include <utility>

// The casts that pass ownership exist in one spelling only, and mean what is wanted in both modes.
#pragma clang diagnostic push
#pragma clang diagnostic ignored "-Wold-style-cast"
#pragma clang diagnostic ignored "-Warc-bridge-casts-disallowed-in-nonarc"

namespace kelo {

/// Owns one reference to an Objective-C object.
///
/// Works the same with and without automatic reference counting: the count is kept by hand, behind the compiler's back.
template <typename Object>
class ObjCReference {
public:
    ObjCReference() = default;
    ObjCReference(ObjCReference&& other) noexcept : reference_(std::exchange(other.reference_, nullptr)) {}
    ObjCReference& operator=(ObjCReference&& other) noexcept {
        std::swap(reference_, other.reference_);
        return *this;
    }
    ~ObjCReference() {
        if (reference_ != nullptr)
            CFRelease(reference_);
    }

    /// Takes over the reference that `alloc` and `init` have returned; nil makes it empty.
    static ObjCReference adopt(Object created) {
        ObjCReference reference;
        reference.reference_ = (__bridge_retained CFTypeRef)created;
        return reference;
    }

    Object get() const { return (__bridge Object)reference_; }
    explicit operator bool() const { return reference_ != nullptr; }

private:
    CFTypeRef reference_ = nullptr;
};

/// Shorthand for ObjCReference::adopt.
template <typename Object>
ObjCReference<Object> adopt(Object created) {
    return ObjCReference<Object>::adopt(created);
}

/// Owns a copy of a block, on the heap, so that it may be called after the call that it was passed to. Copies of it
/// share the block. As above, with and without automatic reference counting.
template <typename Block>
class BlockReference {
public:
    explicit BlockReference(Block block) : block_(_Block_copy((__bridge const void*)block)) {}
    BlockReference(const BlockReference& other) : block_(_Block_copy(other.block_)) {}
    BlockReference& operator=(const BlockReference&) = delete;
    ~BlockReference() { _Block_release(block_); }

    Block get() const { return (__bridge Block)block_; }

private:
    const void* const block_;
};

} // namespace kelo

#pragma clang diagnostic pop
