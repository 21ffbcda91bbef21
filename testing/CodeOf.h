#pragma once

#include <utility>

namespace kelo {

/// Marks the code that runs until the end of a scope as belonging to the daemon or to the test. Programs use this to
/// make only allocations of the daemon fail. Single-threaded.
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
