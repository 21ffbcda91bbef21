#pragma once

#include <cstdint>
#include <exception>
#include <string>

namespace kelo {

/// What keeps the fans from being controlled. Thrown by the controller and the hold; its description is written for the
/// owner of the Mac and travels to the client as it is.
class FanError : public std::exception {
public:
    enum class Kind { modeRejected, targetRejected, smcUnavailable, noFans, needsRoot };

    /// `code` is the last status of the key client; 0 when there was no time for a single try.
    static FanError modeRejected(std::int32_t code) { return {Kind::modeRejected, code}; }
    static FanError targetRejected(std::int32_t code) { return {Kind::targetRejected, code}; }
    static FanError smcUnavailable() { return {Kind::smcUnavailable, 0}; }
    static FanError noFans() { return {Kind::noFans, 0}; }
    static FanError needsRoot() { return {Kind::needsRoot, 0}; }

    const std::string& errorDescription() const { return description_; }
    const char* what() const noexcept override { return description_.c_str(); }

    bool operator==(const FanError& other) const { return kind_ == other.kind_ && code_ == other.code_; }

private:
    FanError(Kind kind, std::int32_t code);

    Kind kind_;
    std::int32_t code_; ///< 0 for the kinds that carry no code.
    std::string description_;
};

} // namespace kelo
