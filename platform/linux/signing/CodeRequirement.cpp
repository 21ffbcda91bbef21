#include "platform/linux/signing/CodeRequirement.h"

#include <algorithm>
#include <utility>

#include "platform/linux/signing/CodeIdentity.h"

namespace kelo {
namespace {

constexpr std::string_view blanks = " \t\r\n";
constexpr std::string_view symbols = "[]=\"";

} // namespace

class CodeRequirement::Parser {
public:
    explicit Parser(std::string_view text) : rest_(text) {}

    std::optional<CodeRequirement> parse() {
        CodeRequirement requirement;
        do {
            if (!takeTerm(requirement))
                return std::nullopt;
        } while (takeAll("and"));
        skipBlanks();
        if (!rest_.empty())
            return std::nullopt;
        return requirement;
    }

private:
    bool takeTerm(CodeRequirement& requirement) {
        if (takeAll("anchor", "apple", "generic"))
            return !std::exchange(requirement.isAnchored_, true);
        if (takeAll("identifier"))
            return takeQuoted(requirement.identifier_);
        if (takeAll("certificate", "leaf", "[", "subject.OU", "]", "="))
            return takeQuoted(requirement.team_);
        return false;
    }

    /// Consumes the given tokens if they come next in this order; otherwise consumes nothing.
    template <typename... Tokens>
    bool takeAll(Tokens... tokens) {
        const auto before = rest_;
        if ((... && (takeToken() == tokens)))
            return true;
        rest_ = before;
        return false;
    }

    /// Consumes the next token: one symbol, or the text up to a symbol or blank. Returns an empty string at the end.
    std::string_view takeToken() {
        skipBlanks();
        auto size = std::min(rest_.find_first_of(symbols), rest_.find_first_of(blanks));
        if (size == 0)
            size = 1;
        const auto token = rest_.substr(0, size);
        rest_.remove_prefix(token.size());
        return token;
    }

    /// Consumes a quoted string. Returns false if there is none, or if `out` already has a value because the term is
    /// repeated.
    bool takeQuoted(std::optional<std::string>& out) {
        if (out || takeToken() != "\"")
            return false;
        const auto size = rest_.find('"');
        if (size == std::string_view::npos)
            return false;
        out = rest_.substr(0, size);
        rest_.remove_prefix(size + 1);
        return out->find('\\') == std::string::npos;
    }

    void skipBlanks() { rest_.remove_prefix(std::min(rest_.find_first_not_of(blanks), rest_.size())); }

    std::string_view rest_;
};

std::optional<CodeRequirement> CodeRequirement::parse(std::string_view text) { return Parser(text).parse(); }

bool CodeRequirement::isSatisfiedBy(const CodeIdentity& identity) const {
    return (!identifier_ || *identifier_ == identity.identifier) && (!team_ || *team_ == identity.team);
}

} // namespace kelo
