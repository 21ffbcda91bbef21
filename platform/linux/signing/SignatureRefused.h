#pragma once

#include <stdexcept>

namespace kelo {

/// A signature, or a file needed to check it, was not accepted. `what()` is one English sentence for the log.
class SignatureRefused : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

} // namespace kelo
