#pragma once

#include <cstdint>
#include <exception>
#include <string>

namespace kelo {

/// The reason why the fans cannot be controlled. Thrown by the controller and the hold. Does not allocate, so it can be
/// thrown and caught when memory has run out.
class FanError : public std::exception {
public:
    enum class Case { modeRejected, targetRejected, smcUnavailable, noFans, needsRoot };

    /// `code` is the key client's last status; 0 if there was no time for a retry.
    static FanError modeRejected(std::int32_t code) { return FanError(Case::modeRejected, code); }
    static FanError targetRejected(std::int32_t code) { return FanError(Case::targetRejected, code); }
    static FanError smcUnavailable() { return FanError(Case::smcUnavailable); }
    static FanError noFans() { return FanError(Case::noFans); }
    static FanError needsRoot() { return FanError(Case::needsRoot); }

    Case kind() const { return case_; }
    /// Returns 0 for a case without a code.
    std::int32_t code() const { return code_; }
    /// A message for the owner of the Mac, sent to the client unchanged.
    std::string errorDescription() const;
    /// The case's name, for developers.
    const char* what() const noexcept override;

    bool operator==(const FanError& other) const { return case_ == other.case_ && code_ == other.code_; }

private:
    explicit FanError(Case which, std::int32_t code = 0) : case_(which), code_(code) {}

    Case case_;
    std::int32_t code_;
};

} // namespace kelo
