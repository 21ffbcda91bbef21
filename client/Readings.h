#pragma once

#include <stdexcept>
#include <string>

#include "client/HelperConnection.h"
#include "protocol/FanSnapshot.h"

namespace kelo {

/// The helper's own refusal. `what()` is its text.
class HelperRefused : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// The helper's snapshot as it has sent it. Throws `HelperRefused` when it has none, and `HelperUnreachable`.
std::string fetchJSON(HelperConnection& helper);

/// The snapshot that this is; throws `HelperRefused` when it cannot be read.
FanSnapshot decodedReading(const std::string& json);

/// Both.
FanSnapshot fetchReading(HelperConnection& helper);

} // namespace kelo
