#pragma once

#include <map>
#include <mutex>
#include <string>
#include <vector>

namespace kelo::doubles {

/// Records how the sources under test use the platform: their calls in order, the objects that they hold, and misuses.
/// One for the process; a fixture resets it. Any thread.
class Journal {
public:
    /// One call, as "function argument argument".
    void add(std::string entry);
    std::vector<std::string> entries() const;
    /// The entries since the last call of this or of `reset`.
    std::vector<std::string> take();

    /// An object or reference of `kind` that somebody has to give back.
    void created(const std::string& kind);
    void gone(const std::string& kind);
    /// How many of `kind` are held.
    int live(const std::string& kind) const;
    /// "kind: count" for every kind that is held.
    std::vector<std::string> live() const;

    /// Something that ends the process on the real platform, or breaks one of its rules.
    void misuse(std::string what);
    std::vector<std::string> misuses() const;
    /// Forgets the misuses that a test has provoked on purpose, and returns them.
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

/// "0x" and the value in hexadecimal digits.
std::string hex(unsigned long long value);

} // namespace kelo::doubles
