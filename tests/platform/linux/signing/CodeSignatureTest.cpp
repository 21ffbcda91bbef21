#include "platform/linux/signing/CodeSignature.h"

#include <sodium.h>
#include <unistd.h>

#include <atomic>
#include <bit>
#include <thread>

#include "platform/linux/signing/SignatureTrailer.h"
#include "tests/platform/linux/signing/SigningFixture.h"
#include "tests/platform/posix/Ends.h"

namespace kelo {
namespace {

using Bytes = std::vector<std::uint8_t>;

std::string textOf(std::span<const std::uint8_t> bytes) { return {bytes.begin(), bytes.end()}; }

class CodeSignature : public SigningFixture {
protected:
    /// Returns the trailer for a file with `content`. `change` alters the trailer before the anchor and the team's key
    /// sign it.
    SignatureTrailer trailerFor(const std::string& content, const std::function<void(SignatureTrailer&)>& change) {
        auto trailer = team.trailer;
        trailer.identifier = *NameField::of(identity.identifier);
        trailer.contentSize = std::bit_cast<decltype(trailer.contentSize)>(std::uint64_t{content.size()});
        crypto_generichash(trailer.contentDigest.data(), 32, reinterpret_cast<const std::uint8_t*>(content.data()),
                           content.size(), nullptr, 0);
        change(trailer);
        trailer.anchorSignature = keys.anchor().sign(trailer.teamMessage());
        trailer.teamSignature = team.key.sign(trailer.codeMessage());
        return trailer;
    }
    Path fileWith(const std::string& content, const SignatureTrailer& trailer) {
        return SigningFixture::fileWith(content + textOf(trailer.bytes()));
    }
    using SigningFixture::fileWith;

    const TeamKey team = keys.team(identity.team);
};

TEST_F(CodeSignature, ReturnsTheSignedIdentity) {
    for (const CodeIdentity& who : {identity, CodeIdentity{"", ""}, CodeIdentity{"a \"b\" c", "O\"U"},
                                    CodeIdentity{std::string(255, 'i'), std::string(255, 't')}}) {
        const auto file = fileWith("content");
        sign(file, who);
        EXPECT_EQ(verdictOn(file).identity, who) << who.identifier;
        EXPECT_EQ(refusalOf(file), "");
    }
}

/// Builds a signed file from docs/signatures.md alone, without the types that read and write trailers.
TEST_F(CodeSignature, AFileInTheDocumentedLayoutVerifies) {
    std::array<std::uint8_t, 32> anchorKey{};
    std::array<std::uint8_t, 32> teamKey{};
    std::array<std::uint8_t, 64> anchorSecret{};
    std::array<std::uint8_t, 64> teamSecret{};
    crypto_sign_keypair(anchorKey.data(), anchorSecret.data());
    crypto_sign_keypair(teamKey.data(), teamSecret.data());
    const auto field = [](const std::string& name) {
        return static_cast<char>(name.size()) + name + std::string(255 - name.size(), '\0');
    };
    const auto sign = [](const std::string& message, const std::array<std::uint8_t, 64>& secret) {
        std::array<std::uint8_t, 64> signature{};
        crypto_sign_detached(signature.data(), nullptr, reinterpret_cast<const std::uint8_t*>(message.data()),
                             message.size(), secret.data());
        return textOf(signature);
    };
    const std::string content = "content";
    std::array<std::uint8_t, 32> digest{};
    crypto_generichash(digest.data(), digest.size(), reinterpret_cast<const std::uint8_t*>(content.data()),
                       content.size(), nullptr, 0);

    auto trailer = field("TEAM") + textOf(teamKey);
    trailer += sign(std::string("kelo team 2\0", 12) + trailer, anchorSecret);
    trailer += field("app") + std::string("\7\0\0\0\0\0\0\0", 8) + textOf(digest);
    trailer += sign(std::string("kelo code 2\0", 12) + trailer, teamSecret);
    trailer += trailerEnd();
    EXPECT_EQ(trailer.size(), trailerSize);
    const auto verdict = verdictOn(fileWith(content + trailer), TrustAnchor{anchorKey});
    EXPECT_EQ(verdict.identity, (CodeIdentity{"app", "TEAM"})) << verdict.reason;
}

/// The stored files are also the seeds of the fuzz target. They show that files signed by an older build still verify.
TEST_F(CodeSignature, StoredFilesStillVerify) {
    const Path fuzz = KELO_FUZZ_FOLDER;
    const auto verdictOnStored = [&](const std::string& name) {
        return verdictOn(fuzz / "corpus" / "code_signature" / name, TrustAnchor::load(fuzz / "anchor.pub"));
    };
    EXPECT_EQ(verdictOnStored("signed").identity, identity);
    EXPECT_EQ(verdictOnStored("quoted").identity, (CodeIdentity{"a \"b\"", "O\"U"}));
    EXPECT_EQ(verdictOnStored("foreign").reason, foreignReason);
    EXPECT_EQ(verdictOnStored("altered").reason, alteredReason);
    EXPECT_EQ(verdictOnStored("version-1").reason,
              "The signature has format version 1, but only version 2 is supported.");
}

TEST_F(CodeSignature, VerifiesFilesWithSizesAroundABlockBoundary) {
    for (const auto size : {0UL, 1UL, 723UL, 724UL, 725UL, 16383UL, 16384UL, 16385UL, 200'001UL}) {
        const auto file = signedFileWith(std::string(size, 'x'));
        EXPECT_EQ(verdictOn(file).identity, identity) << size << " bytes";
        auto bytes = readFile(file);
        if (size > 0) {
            bytes[size - 1] = 'y';
            EXPECT_EQ(refusalOf(fileWith(bytes)), alteredReason) << size << " bytes";
        }
    }
}

TEST_F(CodeSignature, RefusesAFileWithoutASignature) {
    const auto good = readFile(signedFileWith("content"));
    for (const std::string& content : {std::string(), std::string("x"), std::string("eleven byte"),
                                       std::string(2000, 'x'), good + "x", good + std::string(4096, '\0')})
        EXPECT_EQ(refusalOf(fileWith(content)), unsignedReason) << content.size();
}

TEST_F(CodeSignature, RefusesAnyAlteredByte) {
    const auto good = readFile(signedFileWith("content"));
    ASSERT_EQ(good.size(), 7 + trailerSize);
    for (std::size_t at = 0; at < good.size(); ++at) {
        auto altered = good;
        altered[at] = static_cast<char>(altered[at] ^ 1);
        EXPECT_FALSE(verdictOn(fileWith(altered)).identity) << "byte " << at;
    }
}

TEST_F(CodeSignature, RefusesATruncatedOrExtendedFile) {
    const auto good = readFile(signedFileWith("content"));
    for (std::size_t size = 0; size < good.size(); ++size)
        EXPECT_FALSE(verdictOn(fileWith(good.substr(0, size))).identity) << size << " bytes";
    const auto trailer = good.substr(7);
    for (const std::string content : {"content ", " content", "conten", "ontent", "", "another", "contentcontent"})
        EXPECT_EQ(refusalOf(fileWith(content + trailer)), alteredReason) << content;
    EXPECT_EQ(refusalOf(fileWith(trailer.substr(1))), "The signature trailer is damaged: it is cut short.");
    EXPECT_EQ(refusalOf(fileWith(trailerEnd())), "The signature trailer is damaged: it is cut short.");
}

TEST_F(CodeSignature, RefusesFilesOfAnySizeInOtherFormatVersions) {
    for (const auto& [end, version] :
         std::vector<std::pair<std::string, std::string>>{{std::string("\0\0\0\0", 4), "0"},
                                                          {std::string("\1\0\0\0", 4), "1"},
                                                          {std::string("\3\0\0\0", 4), "3"},
                                                          {std::string("\2\1\0\0", 4), "258"},
                                                          {std::string("\xFF\xFF\xFF\xFF", 4), "4294967295"}})
        for (const std::size_t before : {0U, 712U, 2000U})
            EXPECT_EQ(refusalOf(fileWith(std::string(before, 'x') + end + trailerEnd().substr(4))),
                      "The signature has format version " + version + ", but only version 2 is supported.");
}

/// Forgeries that a signer or an attacker without the anchor's key could try.
TEST_F(CodeSignature, RefusesForeignSignatures) {
    KeyFolder foreign(folder / "foreign");
    foreign.makeAnchor();
    const auto stranger = SigningKey::make();
    const auto other = keys.team("OTHERTEAM1");
    const auto good = trailerFor("content", [](auto&) {});
    EXPECT_EQ(refusalOf(fileWith("content", good)), "");
    const auto refusal = [&](const std::function<void(SignatureTrailer&)>& change) {
        auto trailer = good;
        change(trailer);
        return refusalOf(fileWith("content", trailer));
    };
    const auto signedBy = [](const SigningKey& key, SignatureTrailer& trailer) {
        trailer.teamSignature = key.sign(trailer.codeMessage());
    };
    EXPECT_EQ(refusal([&](auto& trailer) { // by a foreign anchor
                  const auto theirs = vouchFor(identity.team, team.key, foreign.anchor());
                  trailer.anchorSignature = theirs.trailer.anchorSignature;
                  signedBy(team.key, trailer);
              }),
              foreignReason);
    EXPECT_EQ(refusal([&](auto& trailer) { // by a team's key, under another team's name
                  trailer.teamKey = other.trailer.teamKey;
                  trailer.anchorSignature = other.trailer.anchorSignature;
                  signedBy(other.key, trailer);
              }),
              foreignReason);
    EXPECT_EQ(refusal([&](auto& trailer) { // by a key that no anchor has certified
                  trailer.teamKey = stranger.publicKey();
                  signedBy(stranger, trailer);
              }),
              foreignReason);
    EXPECT_EQ(refusal([&](auto& trailer) { // by the team as its own anchor
                  trailer.anchorSignature = team.key.sign(trailer.teamMessage());
                  signedBy(team.key, trailer);
              }),
              foreignReason);
    EXPECT_EQ(refusal([&](auto& trailer) { signedBy(stranger, trailer); }), doesNotVerify);
    EXPECT_EQ(refusal([&](auto& trailer) { signedBy(other.key, trailer); }), doesNotVerify);
    EXPECT_EQ(refusal([&](auto& trailer) { trailer.identifier = *NameField::of("app.kelo.helper"); }), doesNotVerify);
    EXPECT_EQ(refusal([&](auto& trailer) { trailer.contentDigest.fill(0); }), doesNotVerify);
}

TEST_F(CodeSignature, RefusesASignatureOfTheWrongKindOfMessage) {
    const auto refusalOfTeamSigned = [&](const Bytes& message) {
        auto trailer = trailerFor("content", [](auto&) {});
        trailer.anchorSignature = keys.anchor().sign(message);
        trailer.teamSignature = team.key.sign(trailer.codeMessage());
        return refusalOf(fileWith("content", trailer));
    };
    const auto refusalOfCodeSigned = [&](const Bytes& message) {
        auto trailer = trailerFor("content", [](auto&) {});
        trailer.teamSignature = team.key.sign(message);
        return refusalOf(fileWith("content", trailer));
    };
    const auto good = trailerFor("content", [](auto&) {});
    const auto withoutContext = [](const Bytes& message) { return Bytes(message.begin() + 12, message.end()); };
    const auto withContext = [&](Bytes message, const Bytes& other) {
        std::copy_n(other.begin(), 12, message.begin());
        return message;
    };
    ASSERT_EQ(refusalOfTeamSigned(good.teamMessage()), "");
    ASSERT_EQ(refusalOfCodeSigned(good.codeMessage()), "");
    EXPECT_EQ(refusalOfTeamSigned(withoutContext(good.teamMessage())), foreignReason);
    EXPECT_EQ(refusalOfTeamSigned(withContext(good.teamMessage(), good.codeMessage())), foreignReason);
    EXPECT_EQ(refusalOfCodeSigned(withoutContext(good.codeMessage())), doesNotVerify);
    EXPECT_EQ(refusalOfCodeSigned(withContext(good.codeMessage(), good.teamMessage())), doesNotVerify);
}

TEST_F(CodeSignature, RefusesANameThatIsNotPrintable) {
    for (const auto field : {&SignatureTrailer::team, &SignatureTrailer::identifier}) {
        for (const char c : {'\0', '\t', '\n', '\r', '\x1F', '\x7F', '\x80', '\xFF'})
            EXPECT_EQ(refusalOf(fileWith("content",
                                         trailerFor("content", [&](auto& trailer) { (trailer.*field).text[1] = c; }))),
                      damagedName)
                << static_cast<int>(c);
        const auto behindTheName = trailerFor("content", [&](auto& trailer) { (trailer.*field).text[254] = 'x'; });
        EXPECT_EQ(refusalOf(fileWith("content", behindTheName)), damagedName);
        const auto printable = trailerFor("content", [&](auto& trailer) { (trailer.*field).text[1] = '~'; });
        EXPECT_EQ(refusalOf(fileWith("content", printable)), "");
    }
    EXPECT_FALSE(NameField::of(std::string(256, 'x')));
}

TEST_F(CodeSignature, RefusesALargeFileWithAStolenTrailerWithoutReadingIt) {
    const auto trailer = readFile(signedFileWith("content")).substr(7);
    const auto file = fileWith("");
    constexpr off_t terabyte = off_t{1} << 40; // sparse; reading it would exceed the test's time limit
    const FileDescriptor descriptor(::open(file.c_str(), O_RDWR | O_CLOEXEC));
    ASSERT_EQ(::pwrite(descriptor.get(), trailer.data(), trailer.size(), terabyte),
              static_cast<ssize_t>(trailer.size()));
    EXPECT_EQ(refusalOf(file), alteredReason);
}

TEST_F(CodeSignature, RefusesAnIrregularOrUnreadableFile) {
    const std::string reason = "The executable is not a regular file.";
    EXPECT_EQ(refusalOf(folder.path()), reason);
    EXPECT_EQ(refusalOf("/dev/null"), reason);
    EXPECT_EQ(verifyCodeSignature(-1, anchor()).reason, reason);
    EXPECT_EQ(verifyCodeSignature(pipeEnds().reading.get(), anchor()).reason, reason);
    const auto file = signedFileWith("content");
    const FileDescriptor writeOnly(::open(file.c_str(), O_WRONLY | O_CLOEXEC));
    EXPECT_EQ(verifyCodeSignature(writeOnly.get(), anchor()).reason, "The executable cannot be read.");
}

TEST_F(CodeSignature, SeveralThreadsVerifyTheSameFileWithoutMovingItsOffset) {
    const auto file = signedFileWith(std::string(100'000, 'x'));
    const FileDescriptor executable(::open(file.c_str(), O_RDONLY | O_CLOEXEC));
    ASSERT_EQ(::lseek(executable.get(), 5, SEEK_SET), 5);
    const auto shared = anchor();
    std::atomic<int> verified = 0;
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i)
        threads.emplace_back([&] {
            for (int j = 0; j < 25; ++j)
                verified += verifyCodeSignature(executable.get(), shared).identity == identity;
        });
    for (auto& thread : threads)
        thread.join();
    EXPECT_EQ(verified, 100);
    EXPECT_EQ(::lseek(executable.get(), 0, SEEK_CUR), 5);
}

} // namespace
} // namespace kelo
