#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace kelo {

struct CodeIdentity;

/// A code-signing requirement, limited to the terms that this system uses: one or more of the following, each at most
/// once, in any order, joined by `and`:
///
///     anchor apple generic
///     identifier "x"
///     certificate leaf[subject.OU] = "y"
///
/// A quoted string ends at the next double quote and has no escapes: a string with a backslash does not parse. So a
/// requirement built from an identifier or team that contains a double quote never parses: the text after that quote
/// could only be a repeated term.
class CodeRequirement {
public:
    /// Returns nullopt for any other text. Blanks, tabs and line ends may separate any two tokens.
    static std::optional<CodeRequirement> parse(std::string_view text);

    /// `identity` must come from a verified signature. So the term `anchor apple generic`, which requires a chain that
    /// ends in the trust anchor, is always satisfied. Strings are compared byte for byte.
    bool isSatisfiedBy(const CodeIdentity& identity) const;

private:
    CodeRequirement() = default;

    class Parser;

    bool isAnchored_ = false;
    std::optional<std::string> identifier_;
    std::optional<std::string> team_;
};

} // namespace kelo
