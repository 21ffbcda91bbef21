#pragma once

#include <stdexcept>
#include <string>

#include "client/PatientConnection.h"
#include "protocol/FanSnapshot.h"

namespace kelo {

/// Thrown if the helper refuses a request or the request has no effect. `what()` gives the reason in one sentence.
class HelperRefused : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// Thrown if the helper has a different interface version. `what()` says which side is older and what to update.
class OtherVersion : public HelperUnreachable {
public:
    explicit OtherVersion(std::int64_t helperVersion);
};

/// Wraps `connect` so that it throws `OtherVersion` if the helper's interface version differs.
Connect sameVersion(Connect connect);

/// The helper's snapshot and the JSON from which it was decoded.
struct Reading {
    std::string json;
    FanSnapshot snapshot;
};

/// Fetches a snapshot. Throws `HelperRefused` if there is no snapshot or it cannot be decoded, and passes on
/// `HelperUnreachable`.
Reading fetchReading(HelperConnection& helper);

/// The two-line message to show while the helper does not answer.
std::string waitingText(const std::string& stopAdvice);

} // namespace kelo
