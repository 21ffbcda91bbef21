#include "platform/linux/signing/CodeSignature.h"

#include <unistd.h>

#include <atomic>
#include <thread>

#include "platform/linux/signing/SignatureRefused.h"
#include "tests/platform/linux/signing/SigningFixture.h"

namespace kelo {
namespace {

class CodeSignature : public SigningFixture {
protected:
    /// A signed file put together anew from parts, each of which may have been tampered with.
    std::string refusalOfParts(const std::string& content, const std::string& message, const std::string& footer) {
        return refusalOf(fileWith(content + message + footer));
    }

    static std::string withByteFlipped(std::string bytes, std::size_t at) {
        bytes[at] = static_cast<char>(bytes[at] ^ 0x01);
        return bytes;
    }
};

TEST_F(CodeSignature, ASignedFileIsWhoItsSignerSays) {
    const auto verdict = verdictOn(signedFileWith("content"));
    EXPECT_EQ(verdict.identity, identity);
    EXPECT_EQ(verdict.reason, "");
}

TEST_F(CodeSignature, FilesOfEverySizeAroundTheBlockVerify) {
    for (const auto size : {0UL, 1UL, 15UL, 16UL, 17UL, 65535UL, 65536UL, 65537UL, 131072UL, 200001UL}) {
        const auto file = signedFileWith(std::string(size, 'x'));
        EXPECT_EQ(verdictOn(file).identity, identity) << size << " bytes";
        const auto parts = SignedFileParts(readFile(file));
        EXPECT_EQ(parts.content, std::string(size, 'x'));
        if (size > 0) {
            EXPECT_EQ(refusalOfParts(withByteFlipped(parts.content, size - 1), parts.message, parts.footer),
                      alteredReason);
        }
    }
}

TEST_F(CodeSignature, AFileWithoutSignatureIsNotSigned) {
    for (const std::string content : {"", "x", "fifteen bytes..", "sixteen bytes...", "a longer file than the footer"})
        EXPECT_EQ(refusalOf(fileWith(content)), unsignedReason) << content;
}

TEST_F(CodeSignature, OneAlteredByteOfTheContentIsSeenWhereverItIs) {
    std::string content(150'000, '\0');
    for (std::size_t i = 0; i < content.size(); ++i)
        content[i] = static_cast<char>(i * 7 + i / 251);
    const SignedFileParts parts(readFile(signedFileWith(content)));
    for (const std::size_t at : {0UL, 4UL, 63UL, 65535UL, 65536UL, 75'000UL, 149'998UL, 149'999UL})
        EXPECT_EQ(refusalOfParts(withByteFlipped(parts.content, at), parts.message, parts.footer), alteredReason)
            << "byte " << at;
}

TEST_F(CodeSignature, BytesAddedToOrTakenFromTheContentAreSeen) {
    const SignedFileParts parts(readFile(signedFileWith("content")));
    for (const auto* content : {"content ", " content", "conten", "ontent", "", "contentcontent"})
        EXPECT_EQ(refusalOfParts(content, parts.message, parts.footer), alteredReason) << content;
}

TEST_F(CodeSignature, ASignatureDoesNotFitOtherContentOfTheSameLength) {
    const SignedFileParts parts(readFile(signedFileWith("content")));
    EXPECT_EQ(refusalOfParts("another", parts.message, parts.footer), alteredReason);
}

TEST_F(CodeSignature, NoAlteredByteOfTheTrailerMakesAnotherIdentity) {
    const auto good = readFile(signedFileWith("content"));
    const SignedFileParts parts(good);
    std::size_t refused = 0;
    for (std::size_t at = parts.content.size(); at < good.size(); ++at) {
        const auto verdict = verdictOn(fileWith(withByteFlipped(good, at)));
        if (!verdict.identity)
            ++refused;
        else
            EXPECT_EQ(*verdict.identity, identity) << "byte " << at; // one that the signature does not cover
    }
    // CMS covers neither its version numbers nor the list of digests that it announces: some 20 bytes.
    EXPECT_GT(refused + 32, good.size() - parts.content.size());
}

TEST_F(CodeSignature, ATruncatedFileIsRefusedAtEveryLength) {
    const auto good = readFile(signedFileWith("content"));
    for (std::size_t size = 0; size < good.size(); ++size)
        EXPECT_FALSE(verdictOn(fileWith(good.substr(0, size))).identity) << size << " bytes";
}

TEST_F(CodeSignature, JunkBehindTheTrailerMakesTheFileUnsigned) {
    const auto good = readFile(signedFileWith("content"));
    EXPECT_EQ(refusalOf(fileWith(good + "x")), unsignedReason);
    EXPECT_EQ(refusalOf(fileWith(good + std::string(4096, '\0'))), unsignedReason);
}

TEST_F(CodeSignature, AMessageThatWasCutOrReplacedIsRefused) {
    const SignedFileParts parts(readFile(signedFileWith("content")));
    const auto refusal = [&](const std::string& message) {
        return refusalOfParts(parts.content, message, footerWith(static_cast<std::uint32_t>(message.size())));
    };
    const std::string damaged = "The signature trailer is damaged: it holds no signed message.";
    EXPECT_EQ(refusal(parts.message), "");
    EXPECT_EQ(refusal(parts.message.substr(0, parts.message.size() - 1)), damaged);
    EXPECT_EQ(refusal(parts.message.substr(1)), damaged);
    EXPECT_EQ(refusal(parts.message + "x"), damaged);
    EXPECT_EQ(refusal(std::string(1000, 'x')), damaged);
    EXPECT_EQ(refusal(std::string(1, '\0')), damaged);
    EXPECT_EQ(refusal(std::string("\x30\x00", 2)), damaged);
    EXPECT_EQ(refusal("\x30\x84\xFF\xFF\xFF\xFF"), damaged);
}

TEST_F(CodeSignature, AMessageSizeThatCannotBeIsRefused) {
    const SignedFileParts parts(readFile(signedFileWith("content")));
    const auto beforeFooter = static_cast<std::uint32_t>(parts.content.size() + parts.message.size());
    for (const std::uint32_t size :
         {0U, beforeFooter + 1, beforeFooter + 16, 0x7FFF'FFFFU, 0x8000'0000U, 0xFFFF'FFF0U, 0xFFFF'FFFFU})
        EXPECT_EQ(refusalOfParts(parts.content, parts.message, footerWith(size)),
                  "The signature trailer is damaged: its message cannot be " + std::to_string(size) + " bytes long.");
}

TEST_F(CodeSignature, AFileThatIsNothingButAFooterIsRefused) {
    EXPECT_EQ(refusalOf(fileWith(footerWith(0))),
              "The signature trailer is damaged: its message cannot be 0 bytes long.");
    EXPECT_EQ(refusalOf(fileWith(footerWith(1))),
              "The signature trailer is damaged: its message cannot be 1 bytes long.");
}

TEST_F(CodeSignature, AMessageIsReadUpTo64KiBAndNoFurther) {
    const std::string limit(64 * 1024, '\0');
    EXPECT_EQ(refusalOf(fileWith(limit + footerWith(64 * 1024))),
              "The signature trailer is damaged: it holds no signed message.");
    EXPECT_EQ(refusalOf(fileWith(limit + "x" + footerWith(64 * 1024 + 1))),
              "The signature trailer is damaged: its message cannot be 65537 bytes long.");
}

TEST_F(CodeSignature, AnotherFormatVersionIsNamed) {
    const SignedFileParts parts(readFile(signedFileWith("content")));
    const auto size = static_cast<std::uint32_t>(parts.message.size());
    for (const std::uint32_t version : {0U, 2U, 256U, 0xFFFF'FFFFU})
        EXPECT_EQ(refusalOfParts(parts.content, parts.message, footerWith(size, version)),
                  "The signature has format version " + std::to_string(version) +
                      ", and only version 1 is known here.");
}

TEST_F(CodeSignature, ACopyKeepsTheSignature) {
    const auto file = signedFileWith("content");
    std::filesystem::copy_file(file, folder / "copy");
    EXPECT_EQ(verdictOn(folder / "copy").identity, identity);
}

TEST_F(CodeSignature, ALargeFileWithAStolenTrailerIsRefusedWithoutBeingRead) {
    const SignedFileParts parts(readFile(signedFileWith("content")));
    const auto file = fileWith("");
    constexpr off_t terabyte = off_t{1} << 40; // full of holes; reading it would outlast the test's time
    const FileDescriptor descriptor(::open(file.c_str(), O_RDWR | O_CLOEXEC));
    const auto trailer = parts.message + parts.footer;
    ASSERT_EQ(::pwrite(descriptor.get(), trailer.data(), trailer.size(), terabyte),
              static_cast<ssize_t>(trailer.size()));
    EXPECT_EQ(refusalOf(file), alteredReason);
}

TEST_F(CodeSignature, WhatIsNoRegularFileIsRefused) {
    const std::string reason = "The executable is not a regular file.";
    EXPECT_EQ(refusalOf(folder.path()), reason);
    EXPECT_EQ(refusalOf("/dev/null"), reason);
    EXPECT_EQ(verifyCodeSignature(-1, anchor()).reason, reason);
    int ends[2];
    ASSERT_EQ(::pipe2(ends, O_CLOEXEC), 0);
    const FileDescriptor reading(ends[0]);
    const FileDescriptor writing(ends[1]);
    EXPECT_EQ(verifyCodeSignature(reading.get(), anchor()).reason, reason);
}

TEST_F(CodeSignature, AFileThatCannotBeReadIsRefused) {
    const auto file = signedFileWith("content");
    const FileDescriptor writeOnly(::open(file.c_str(), O_WRONLY | O_CLOEXEC));
    EXPECT_EQ(verifyCodeSignature(writeOnly.get(), anchor()).reason, "The executable cannot be read.");
}

TEST_F(CodeSignature, TheOffsetOfTheDescriptorNeitherMattersNorMoves) {
    const auto file = signedFileWith("content");
    const FileDescriptor executable(::open(file.c_str(), O_RDONLY | O_CLOEXEC));
    ASSERT_EQ(::lseek(executable.get(), 5, SEEK_SET), 5);
    EXPECT_EQ(verifyCodeSignature(executable.get(), anchor()).identity, identity);
    EXPECT_EQ(::lseek(executable.get(), 0, SEEK_CUR), 5);
}

TEST_F(CodeSignature, SeveralThreadsVerifyTheSameFileAtOnce) {
    const auto file = signedFileWith(std::string(100'000, 'x'));
    const FileDescriptor executable(::open(file.c_str(), O_RDONLY | O_CLOEXEC));
    const auto shared = anchor();
    std::atomic<int> verified = 0;
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i)
        threads.emplace_back([&] {
            for (int j = 0; j < 25; ++j)
                if (verifyCodeSignature(executable.get(), shared).identity == identity)
                    ++verified;
        });
    for (auto& thread : threads)
        thread.join();
    EXPECT_EQ(verified, 100);
}

TEST_F(CodeSignature, WithoutACertificateThereIsNoAnchor) {
    const auto refusalOfAnchor = [](const Path& file) -> std::string {
        try {
            TrustAnchor::load(file);
            return {};
        } catch (const SignatureRefused& refused) {
            return refused.what();
        }
    };
    const auto missing = folder / "missing.pem";
    EXPECT_EQ(refusalOfAnchor(missing), "The trust anchor " + missing.string() + " cannot be read.");
    const auto noCertificate = [](const Path& file) {
        return "The trust anchor " + file.string() + " holds no certificate.";
    };
    for (const auto& file : {fileWith(""), signedFileWith("content"), folder.path()})
        EXPECT_EQ(refusalOfAnchor(file), noCertificate(file));
    EXPECT_EQ(refusalOfAnchor(keys.anchorFile()), "");
}

TEST_F(CodeSignature, OddNamesAreToldAsTheyAre) {
    for (const CodeIdentity& odd : {CodeIdentity{"", ""}, CodeIdentity{"a \"b\" c", "O\"U"}, CodeIdentity{" ", " x "},
                                    CodeIdentity{std::string(255, 'i'), std::string(255, 't')},
                                    CodeIdentity{"\xC3\xA4\xC3\xB6", "\xE2\x82\xAC"}}) {
        const auto file = fileWith("content");
        sign(file, odd);
        EXPECT_EQ(verdictOn(file).identity, odd) << odd.identifier;
    }
}

} // namespace
} // namespace kelo
