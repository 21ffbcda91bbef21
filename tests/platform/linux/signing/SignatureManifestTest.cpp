#include "platform/linux/signing/SignatureManifest.h"

#include <gtest/gtest.h>

#include <limits>

namespace kelo {
namespace {

const std::string digest(64, 'a');

SignatureManifest manifest(const std::string& identifier, const std::string& team, std::uint64_t length) {
    return {{identifier, team}, length, digest};
}

TEST(SignatureManifest, ReadsLetterForLetter) {
    EXPECT_EQ(manifest("app.kelo.helper", "KELODEV001", 123456).text(), "kelo code signature 1\n"
                                                                        "identifier app.kelo.helper\n"
                                                                        "team KELODEV001\n"
                                                                        "length 123456\n"
                                                                        "sha256 " +
                                                                            digest + "\n");
}

TEST(SignatureManifest, WhatWasWrittenIsReadBack) {
    for (const std::string name : {"", " ", "a", "two words", "a \"quoted\" name", "\xC3\xA4", "identifier x", "\\n"})
        for (const auto length : {std::uint64_t{0}, std::uint64_t{1}, std::numeric_limits<std::uint64_t>::max()}) {
            const auto parsed = SignatureManifest::parse(manifest(name, name + "2", length).text());
            ASSERT_TRUE(parsed) << name;
            EXPECT_EQ(parsed->identity, (CodeIdentity{name, name + "2"}));
            EXPECT_EQ(parsed->length, length);
            EXPECT_EQ(parsed->sha256, digest);
        }
}

TEST(SignatureManifest, NamesWithoutControlCharactersUpTo255BytesAreValid) {
    EXPECT_TRUE(SignatureManifest::isValidName(""));
    EXPECT_TRUE(SignatureManifest::isValidName("a \"b\" \u00E4 \u20AC \U0001F300"));
    EXPECT_TRUE(SignatureManifest::isValidName(std::string(255, 'x')));
    EXPECT_FALSE(SignatureManifest::isValidName(std::string(256, 'x')));
    for (const char c : {'\0', '\n', '\r', '\t', '\x1F', '\x7F'})
        EXPECT_FALSE(SignatureManifest::isValidName(std::string("a") + c)) << static_cast<int>(c);
}

TEST(SignatureManifest, NamesThatChangeALineOfALogAreNotValid) {
    for (const std::string character : {"\u0080", "\u009B", "\u009F", "\u061C", "\u200E", "\u200F", "\u2028", "\u2029",
                                        "\u202A", "\u202E", "\u2066", "\u2069"})
        EXPECT_FALSE(SignatureManifest::isValidName("a" + character + "b")) << character;
    for (const std::string character : {"\u00A0", "\u061B", "\u200D", "\u2010", "\u2027", "\u202F", "\u2065", "\u206A"})
        EXPECT_TRUE(SignatureManifest::isValidName("a" + character + "b")) << character;
}

TEST(SignatureManifest, NamesThatAreNotUTF8AreNotValid) {
    for (const std::string bytes :
         {"\xFF", "\x80", "\xBF", "\xC3", "\xC0\x80", "\xC1\xBF", "\xE0\x80\x80", "\xE2\x82", "\xED\xA0\x80",
          "\xF0\x80\x80\x80", "\xF4\x90\x80\x80", "\xF8\x88\x80\x80\x80", "\xC3\x28", "\xE2\x28\xA1"})
        EXPECT_FALSE(SignatureManifest::isValidName("a" + bytes)) << testing::PrintToString(bytes);
}

TEST(SignatureManifest, EveryTextThatIsNotWhatIsWrittenIsRefused) {
    const auto good = manifest("id", "team", 7).text();
    ASSERT_TRUE(SignatureManifest::parse(good));
    const auto with = [&](const std::string& part, const std::string& other) {
        auto text = good;
        return text.replace(text.find(part), part.size(), other);
    };
    for (const auto& text : {std::string(),
                             std::string("\n\n\n\n\n"),
                             good + "\n",
                             good + "x",
                             good.substr(0, good.size() - 1),
                             "\n" + good,
                             with("signature 1", "signature 2"),
                             with("signature 1", "signature 1 "),
                             with("length 7", "length 07"),
                             with("length 7", "length +7"),
                             with("length 7", "length -7"),
                             with("length 7", "length 7 "),
                             with("length 7", "length  7"),
                             with("length 7", "length 0x7"),
                             with("length 7", "length "),
                             with("length 7", "length 18446744073709551616"),
                             with("length 7", "size 7"),
                             with("team team\n", ""),
                             with("identifier id\nteam team", "team team\nidentifier id"),
                             with("identifier id", "identifier\tid"),
                             with("identifier id", "identifier i\rd"),
                             with("team team", "team " + std::string(256, 'x')),
                             with("\nlength", "\r\nlength"),
                             with(digest, std::string(63, 'a')),
                             with(digest, std::string(65, 'a')),
                             with(digest, std::string(64, 'A')),
                             with(digest, std::string(64, 'g'))})
        EXPECT_FALSE(SignatureManifest::parse(text)) << text;
}

} // namespace
} // namespace kelo
