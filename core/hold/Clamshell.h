#pragma once

#include <variant>

namespace kelo {

/// A property of a type that is neither a boolean nor a number.
struct UnconvertibleProperty {
    bool operator==(const UnconvertibleProperty&) const = default;
};

/// The clamshell property as the system holds it: absent (no lid, or not reported yet), a boolean, a number, or
/// something else.
using ClamshellProperty = std::variant<std::monostate, bool, double, UnconvertibleProperty>;

/// Where the state of the laptop's lid is read.
class Clamshell {
public:
    Clamshell() = default;
    Clamshell(const Clamshell&) = delete;
    Clamshell& operator=(const Clamshell&) = delete;
    virtual ~Clamshell() = default;

    /// Queried at every call. Absent also when there is no root power domain. Main thread only.
    virtual ClamshellProperty clamshellState() = 0;
};

} // namespace kelo
