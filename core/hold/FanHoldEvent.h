#pragma once

#include <string>
#include <variant>

namespace kelo {

struct FanHoldEvent {
    /// The hold has started and has taken the fans. `fraction` is the fraction that the client requested.
    struct Engaged {
        double fraction;
        bool neededUnlock; ///< At least one fan needed the controller's unlock switch.
        bool operator==(const Engaged&) const = default;
    };
    /// The hold now runs the fans faster than requested, at `fraction`.
    struct AddingAir {
        double fraction;
        bool operator==(const AddingAir&) const = default;
    };
    enum class Plain { backToAsked, reasserted, sleeping, woke, yielded, resumed, released };

    std::variant<Engaged, AddingAir, Plain> value;

    static FanHoldEvent engaged(double fraction, bool neededUnlock) { return {Engaged{fraction, neededUnlock}}; }
    static FanHoldEvent addingAir(double fraction) { return {AddingAir{fraction}}; }
    static FanHoldEvent backToAsked() { return {Plain::backToAsked}; }
    static FanHoldEvent reasserted() { return {Plain::reasserted}; }
    static FanHoldEvent sleeping() { return {Plain::sleeping}; }
    static FanHoldEvent woke() { return {Plain::woke}; }
    static FanHoldEvent yielded() { return {Plain::yielded}; }
    static FanHoldEvent resumed() { return {Plain::resumed}; }
    static FanHoldEvent released() { return {Plain::released}; }

    /// Returns text such as "sleeping" or "engaged(fraction: 0.5, neededUnlock: false)".
    std::string description() const;

    bool operator==(const FanHoldEvent&) const = default;
};

/// The shortest text that parses back to `number`, such as "0.5", "1.0", "1e-05", "nan" or "-inf". Uses scientific
/// notation for non-zero magnitudes below 0.0001 and for magnitudes above 2^54. Decimal notation always has a
/// fractional part.
std::string shortestText(double number);

} // namespace kelo
