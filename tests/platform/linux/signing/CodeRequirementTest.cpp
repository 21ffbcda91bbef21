#include "platform/linux/signing/CodeRequirement.h"

#include <gtest/gtest.h>

#include "platform/linux/signing/CodeIdentity.h"
#include "protocol/SigningIdentity.h"

namespace kelo {
namespace {

bool parses(std::string_view text) { return CodeRequirement::parse(text).has_value(); }

bool isSatisfied(std::string_view text, const CodeIdentity& identity) {
    const auto requirement = CodeRequirement::parse(text);
    EXPECT_TRUE(requirement) << text;
    return requirement && requirement->isSatisfiedBy(identity);
}

const std::string emitted = SigningIdentity::requirement("app.kelo.Kelo", "ABCDE12345");
const CodeIdentity app{"app.kelo.Kelo", "ABCDE12345"};

TEST(CodeRequirement, OnlyTheSameIdentifierAndTeamSatisfyARequirement) {
    EXPECT_TRUE(isSatisfied(emitted, app));
    const CodeIdentity others[] = {{"app.kelo.helper", "ABCDE12345"}, {"app.kelo.Kelo", "ABCDE12346"},
                                   {"ABCDE12345", "app.kelo.Kelo"},   {"", ""},
                                   {"app.kelo.kelo", "ABCDE12345"},   {"app.kelo.Kelo", "abcde12345"},
                                   {"app.kelo.Kelo ", "ABCDE12345"},  {"app.kelo.Kelo2", "ABCDE12345"},
                                   {"app.kelo.Kelo", "ABCDE1234"}};
    for (const auto& other : others)
        EXPECT_FALSE(isSatisfied(emitted, other)) << other.identifier << " of " << other.team;
}

TEST(CodeRequirement, OnlyEmptyNamesSatisfyARequirementForEmptyNames) {
    const auto empty = SigningIdentity::requirement("", "");
    EXPECT_TRUE(isSatisfied(empty, {"", ""}));
    EXPECT_FALSE(isSatisfied(empty, {"a", ""}));
    EXPECT_FALSE(isSatisfied(empty, {"", "b"}));
}

TEST(CodeRequirement, OddCharactersInQuotesAreLiteral) {
    const auto odd = SigningIdentity::requirement(" and identifier = [x] ", "\xC3\xA4 'b");
    EXPECT_TRUE(isSatisfied(odd, {" and identifier = [x] ", "\xC3\xA4 'b"}));
    EXPECT_FALSE(isSatisfied(odd, {"and identifier = [x]", "\xC3\xA4 'b"}));
}

TEST(CodeRequirement, AcceptsEachTermAloneAndInAnyOrder) {
    EXPECT_TRUE(isSatisfied("anchor apple generic", {"any", "body"}));
    EXPECT_TRUE(isSatisfied("identifier \"a\"", {"a", "any"}));
    EXPECT_FALSE(isSatisfied("identifier \"a\"", {"b", "any"}));
    EXPECT_TRUE(isSatisfied("certificate leaf[subject.OU] = \"t\"", {"any", "t"}));
    EXPECT_FALSE(isSatisfied("certificate leaf[subject.OU] = \"t\"", {"any", "u"}));
    EXPECT_TRUE(isSatisfied("certificate leaf[subject.OU] = \"t\" and identifier \"a\"", {"a", "t"}));
    EXPECT_FALSE(isSatisfied("certificate leaf[subject.OU] = \"t\" and identifier \"a\"", {"a", "u"}));
}

TEST(CodeRequirement, AllowsAnyWhitespaceBetweenTokens) {
    EXPECT_TRUE(isSatisfied("\n anchor\tapple  generic\r\nand identifier \"app.kelo.Kelo\"and certificate leaf [ "
                            "subject.OU ]=\"ABCDE12345\"  ",
                            app));
    EXPECT_TRUE(parses("identifier\"a\""));
}

TEST(CodeRequirement, RejectsAnyOtherSyntax) {
    for (const auto* text : {"",
                             " ",
                             "and",
                             "anchor",
                             "anchor apple",
                             "anchor generic",
                             "anchor apple generic and",
                             "and anchor apple generic",
                             "anchor apple generic identifier \"a\"",
                             "anchor apple generic or identifier \"a\"",
                             "anchor apple generic and and identifier \"a\"",
                             "anchor apple generic, identifier \"a\"",
                             "anchorapple generic",
                             "anchor apple genericand identifier \"a\"",
                             "Anchor apple generic",
                             "anchor apple generic AND identifier \"a\"",
                             "(anchor apple generic)",
                             "! anchor apple generic",
                             "not anchor apple generic",
                             "anchor trusted",
                             "always",
                             "true",
                             "notarized",
                             "identifier",
                             "identifier a",
                             "identifier \"a",
                             "identifier a\"",
                             "identifier 'a'",
                             "identifier = \"a\"",
                             "identifier \"a\" \"b\"",
                             "Identifier \"a\"",
                             "certificate leaf[subject.OU] \"t\"",
                             "certificate leaf[subject.OU] = t",
                             "certificate leaf[subject.CN] = \"t\"",
                             "certificate leaf[subject. OU] = \"t\"",
                             "certificate leaf[subject.ou] = \"t\"",
                             "certificate 1[subject.OU] = \"t\"",
                             "certificate root[subject.OU] = \"t\"",
                             "certificate leaf[subject.OU] exists",
                             "certificate leaf[subject.OU] == \"t\"",
                             "certificate leaf[subject.OU = \"t\"",
                             "certificate leaf subject.OU = \"t\"",
                             "certificateleaf[subject.OU] = \"t\"",
                             "cdhash H\"00\"",
                             "info[CFBundleVersion] = \"1\"",
                             "entitlement[\"a\"] absent",
                             "identifier \"a\" # comment",
                             "identifier \"a\"\v",
                             "identifier \"\\\"\"",
                             "identifier \"a\\\\\""})
        EXPECT_FALSE(parses(text)) << text;
    EXPECT_FALSE(parses(emitted + ";"));
    EXPECT_FALSE(parses(emitted + std::string(1, '\0')));
    EXPECT_FALSE(parses(emitted.substr(0, emitted.size() - 1)));
}

TEST(CodeRequirement, RejectsARepeatedTerm) {
    EXPECT_FALSE(parses("anchor apple generic and anchor apple generic"));
    EXPECT_FALSE(parses("identifier \"a\" and identifier \"a\""));
    EXPECT_FALSE(parses("certificate leaf[subject.OU] = \"t\" and certificate leaf[subject.OU] = \"t\""));
}

TEST(CodeRequirement, RejectsADoubleQuoteInAName) {
    for (const std::string name :
         {"\"", "\"\"", "a\"", "\"a", "a\"b", "a\"b\"c", "a\" and identifier \"b",
          "a\" and anchor apple generic and identifier \"b", "a\" and certificate leaf[subject.OU] = \"b",
          "a\" or identifier \"b", "a\" and certificate leaf[subject.OU] = \"ABCDE12345\" and identifier \"b"}) {
        EXPECT_FALSE(parses(SigningIdentity::requirement(name, "ABCDE12345"))) << name;
        EXPECT_FALSE(parses(SigningIdentity::requirement("app.kelo.Kelo", name))) << name;
        EXPECT_FALSE(parses(SigningIdentity::requirement(name, name))) << name;
    }
    // One name opens a quote that the other name closes.
    EXPECT_FALSE(parses(SigningIdentity::requirement("a\" and certificate leaf[subject.OU] = ", " \"")));
    EXPECT_FALSE(parses(SigningIdentity::requirement("a\" and certificate leaf[subject.OU] = ", "")));
}

} // namespace
} // namespace kelo
