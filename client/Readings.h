#pragma once

#include <stdexcept>
#include <string>

#include "client/PatientConnection.h"
#include "protocol/FanSnapshot.h"

namespace kelo {

/// The helper has refused a request, or what it was asked for has not happened. `what()` says so in a sentence.
class HelperRefused : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// The helper is of another interface version. `what()` says which side is older and what to update.
class OtherVersion : public HelperUnreachable {
public:
    explicit OtherVersion(std::int64_t helperVersion);
};

/// As `connect`, and throws `OtherVersion`.
Connect sameVersion(Connect connect);

/// The helper's snapshot, and the JSON as it has sent it.
struct Reading {
    std::string json;
    FanSnapshot snapshot;
};

/// Throws `HelperRefused` when there is no snapshot or it cannot be read, and `HelperUnreachable`.
Reading fetchReading(HelperConnection& helper);

/// What the user is told while the helper is silent: two lines.
std::string waitingText(const std::string& stopAdvice);

} // namespace kelo
