#pragma once

#include <unistd.h>

#include <utility>

namespace kelo {

class FileDescriptor {
public:
    FileDescriptor() = default;
    explicit FileDescriptor(int descriptor) : descriptor_(descriptor) {}
    FileDescriptor(FileDescriptor&& other) noexcept : descriptor_(std::exchange(other.descriptor_, -1)) {}
    FileDescriptor& operator=(FileDescriptor&& other) noexcept {
        std::swap(descriptor_, other.descriptor_);
        return *this;
    }
    FileDescriptor(const FileDescriptor&) = delete;
    FileDescriptor& operator=(const FileDescriptor&) = delete;
    ~FileDescriptor() {
        if (isValid())
            close(descriptor_);
    }

    int get() const { return descriptor_; }
    bool isValid() const { return descriptor_ >= 0; }

private:
    int descriptor_ = -1;
};

} // namespace kelo
