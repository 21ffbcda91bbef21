#pragma once

#include <stdexcept>

namespace kelo {

/// Keys could not be created or read, or an executable could not be signed. `what()` is one sentence for the user.
class SigningFailed : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

} // namespace kelo
