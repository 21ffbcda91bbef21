#pragma once

#include <variant>

namespace kelo {

struct UnconvertibleProperty {
    bool operator==(const UnconvertibleProperty&) const = default;
};

/// The clamshell property in the system's registry: absent (no lid, or not reported yet), a boolean, a number, or
/// another type.
using ClamshellProperty = std::variant<std::monostate, bool, double, UnconvertibleProperty>;

class Clamshell {
public:
    Clamshell() = default;
    Clamshell(const Clamshell&) = delete;
    Clamshell& operator=(const Clamshell&) = delete;
    virtual ~Clamshell() = default;

    /// Queries the system on every call. Also returns an absent property if there is no root power domain. Main thread
    /// only.
    virtual ClamshellProperty clamshellState() = 0;
};

} // namespace kelo
