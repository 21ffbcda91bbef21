#pragma once

#include <stdexcept>
#include <string>

#include "client/PatientConnection.h"
#include "protocol/FanSnapshot.h"

namespace kelo {

/// The helper has refused a request, or the request had no effect. `what()` gives the reason in a sentence.
class HelperRefused : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// The helper has another interface version. `what()` says which side is older and what to update.
class OtherVersion : public HelperUnreachable {
public:
    explicit OtherVersion(std::int64_t helperVersion);
};

/// Wraps `connect` so that it throws `OtherVersion` if the helper's interface version differs.
Connect sameVersion(Connect connect);

/// The helper's snapshot, and the JSON that it was decoded from.
struct Reading {
    std::string json;
    FanSnapshot snapshot;
};

/// Throws `HelperRefused` if there is no snapshot or it cannot be decoded. Also throws `HelperUnreachable`.
Reading fetchReading(HelperConnection& helper);

/// The message to show while the helper does not answer: two lines.
std::string waitingText(const std::string& stopAdvice);

} // namespace kelo
