#pragma once

#include <map>
#include <mutex>
#include <string>
#include <vector>

namespace kelo::doubles {

/// Records the use of the platform by the code under test: its calls in order, the objects that it holds, and misuses.
/// There is one journal per process, which fixtures reset. May be used on any thread.
class Journal {
public:
    /// Adds a call in the form "function argument argument".
    void add(std::string entry);
    std::vector<std::string> entries() const;
    /// Returns the entries added since the last call of `take` or `reset`.
    std::vector<std::string> take();

    /// Counts an object or reference of `kind` that must be released.
    void created(const std::string& kind);
    void destroyed(const std::string& kind);
    int live(const std::string& kind) const;
    /// Returns "kind: count" for every kind with objects that are still held.
    std::vector<std::string> live() const;

    /// Reports an action that would end the process on the real platform or break one of its rules.
    void misuse(std::string what);
    std::vector<std::string> misuses() const;
    /// Returns and removes the misuses, for tests that provoke them.
    std::vector<std::string> takeMisuses();

    void reset();

private:
    mutable std::mutex mutex_;
    std::vector<std::string> entries_;
    std::size_t taken_ = 0;
    std::map<std::string, int> live_;
    std::vector<std::string> misuses_;
};

Journal& journal();

std::string hex(unsigned long long value);

} // namespace kelo::doubles
