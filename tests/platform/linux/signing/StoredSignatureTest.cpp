#include "tests/platform/linux/signing/SigningFixture.h"

namespace kelo {
namespace {

using ::testing::StartsWith;

/// Files that were signed once and for all, with keys that were thrown away: what an older build has signed still
/// verifies. They are the seeds of the fuzz target, too, and have to stay what they are meant to be.
class StoredSignature : public SigningFixture {
protected:
    static SignatureVerdict verdictOnStored(const std::string& name) {
        const Path fuzz = KELO_FUZZ_FOLDER;
        return verdictOn(fuzz / "corpus" / "code_signature" / name, TrustAnchor::load(fuzz / "anchor.pem"));
    }
};

TEST_F(StoredSignature, GoodOnesVerify) {
    EXPECT_EQ(verdictOnStored("signed").identity, identity);
    EXPECT_EQ(verdictOnStored("chained").identity, identity);
    EXPECT_EQ(verdictOnStored("quoted").identity, (CodeIdentity{"a \"b\"", "O\"U"}));
}

TEST_F(StoredSignature, OthersAreRefusedForWhatIsWrongWithThem) {
    const auto reasonFor = [](const std::string& name) { return verdictOnStored(name).reason; };
    EXPECT_EQ(reasonFor("unsigned"), unsignedReason);
    EXPECT_EQ(reasonFor("altered"), alteredReason);
    EXPECT_EQ(reasonFor("footer-only"), "The signature trailer is damaged: its message cannot be 952 bytes long.");
    EXPECT_EQ(reasonFor("huge-message"),
              "The signature trailer is damaged: its message cannot be 4294967295 bytes long.");
    EXPECT_EQ(reasonFor("junk-message"), "The signature trailer is damaged: it holds no signed message.");
    EXPECT_EQ(reasonFor("weak-digest"), "The signature's digest is none of SHA-256, SHA-384 and SHA-512.");
    EXPECT_THAT(reasonFor("foreign"), StartsWith("The signer's certificate was not issued by the trust anchor ("));
    EXPECT_EQ(reasonFor("not-for-code"), "The signer's certificate was not made for code signing.");
    EXPECT_EQ(reasonFor("two-teams"), "The signer's certificate names 2 teams, not one.");
    EXPECT_EQ(reasonFor("other-team"),
              "The signature's team \"ABCDE12345\" is not the one that its certificate names.");
}

} // namespace
} // namespace kelo
