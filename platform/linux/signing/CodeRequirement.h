#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace kelo {

struct CodeIdentity;

/// A code-signing requirement, as far as this system writes them: one or more of these terms, each at most once, in any
/// order, joined by `and`:
///
///     anchor apple generic
///     identifier "x"
///     certificate leaf[subject.OU] = "y"
///
/// A quoted text reaches to the next double quote and has no escapes: one with a backslash does not parse. So a
/// requirement that was put together from an identifier or a team with a double quote in it never parses: whatever the
/// quote opens would have to be a term that is there already.
class CodeRequirement {
public:
    /// None for everything else. Blanks, tabs and line ends may stand between any two tokens.
    static std::optional<CodeRequirement> parse(std::string_view text);

    /// `identity` comes from a signature that was verified, so `anchor apple generic`, which asks for a chain that ends
    /// in the trust anchor, holds for every one of them. Texts are compared byte for byte.
    bool isSatisfiedBy(const CodeIdentity& identity) const;

private:
    CodeRequirement() = default;

    class Parser;

    bool isAnchored_ = false;
    std::optional<std::string> identifier_;
    std::optional<std::string> team_;
};

} // namespace kelo
