#pragma once

#import <Foundation/Foundation.h>

#include <Block.h>

#include <utility>

namespace kelo {

template <typename Object> class ObjCReference {
  public:
    ObjCReference() = default;
    ObjCReference(ObjCReference&& other) noexcept : object_(std::exchange(other.object_, nullptr)) {}
    ObjCReference& operator=(ObjCReference&& other) noexcept {
        std::swap(object_, other.object_);
        return *this;
    }
    ~ObjCReference() { [object_ release]; }

    /// Takes ownership of an object created by `alloc` and `init`. Returns an empty reference for nil.
    static ObjCReference adopt(Object created) {
        ObjCReference reference;
        reference.object_ = created;
        return reference;
    }

    Object get() const { return object_; }
    explicit operator bool() const { return object_ != nullptr; }

  private:
    Object object_ = nullptr;
};

template <typename Object> ObjCReference<Object> adopt(Object created) { return ObjCReference<Object>::adopt(created); }

/// Owns a heap copy of a block, so that the block can be called after the function that received it has returned.
/// Copies share the block.
template <typename Block> class BlockReference {
  public:
    explicit BlockReference(Block block) : block_(Block_copy(block)) {}
    BlockReference(const BlockReference& other) : BlockReference(other.block_) {}
    BlockReference& operator=(const BlockReference&) = delete;
    ~BlockReference() { Block_release(block_); }

    /// Calls the block and releases the objects that it autoreleases, since our threads have no other autorelease pool.
    template <typename... Arguments> void operator()(Arguments... arguments) const {
        @autoreleasepool {
            block_(arguments...);
        }
    }

    Block get() const { return block_; }

  private:
    const Block block_;
};

} // namespace kelo
