#pragma once

#include <utility>

namespace kelo {

/// Marks whose code runs until the end of a scope, for a program that makes allocations of the daemon fail: the
/// daemon's, or that of the test around it. One thread.
class CodeOf {
public:
    enum class Owner { test, daemon };

    explicit CodeOf(Owner owner) : before_(std::exchange(current, owner)) {}
    CodeOf(const CodeOf&) = delete;
    CodeOf& operator=(const CodeOf&) = delete;
    ~CodeOf() { current = before_; }

    static inline Owner current = Owner::test;

private:
    const Owner before_;
};

} // namespace kelo
