#pragma once

#include <cstdint>
#include <exception>
#include <string>
#include <utility>

namespace kelo {

/// What keeps the fans from being controlled. Thrown by the controller and the hold; its description is written for the
/// owner of the Mac and travels to the client as it is.
class FanError : public std::exception {
public:
    /// `code` is the last status of the key client; 0 when there was no time for a single try.
    static FanError modeRejected(std::int32_t code);
    static FanError targetRejected(std::int32_t code);
    static FanError smcUnavailable();
    static FanError noFans();
    static FanError needsRoot();

    const std::string& errorDescription() const { return description_; }
    const char* what() const noexcept override { return description_.c_str(); }

    /// No two errors, of another kind or with another code, have the same description.
    bool operator==(const FanError& other) const { return description_ == other.description_; }

private:
    explicit FanError(std::string description) : description_(std::move(description)) {}

    std::string description_;
};

} // namespace kelo
