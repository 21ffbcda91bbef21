#include "platform/linux/signing/CodeIdentity.h"
#include "simulator/tools/simsign/CodeSigner.h"
#include "simulator/tools/simsign/KeyFolder.h"
#include "tests/conformance/SigningInformationConformance.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/support/process/PipedProcess.h"

namespace kelo {
namespace {

/// What a program that is signed so finds out about itself.
class SignedProgramHarness : private SigningInformation {
public:
    SignedProgramHarness() {
        keys_.makeAnchor();
        // Whatever the umask: what others can write to is not trusted.
        std::filesystem::permissions(keys_.anchorFile().parent_path(), std::filesystem::perms(0755));
    }

    SigningInformation& signingInformation() { return *this; }

    void sign(const std::optional<std::string>& team) {
        std::filesystem::copy_file(KELO_SIGNED_PEER, program_);
        if (team)
            signExecutable(program_, {"app.kelo.helper", *team}, {keys_.team(*team), {}});
    }

private:
    std::optional<std::string> teamIdentifier() override {
        auto told = PipedProcess({program_, "team", keys_.anchorFile().parent_path()}).readLine();
        return told == "(none)" ? std::nullopt : std::optional(std::move(told));
    }

    const TemporaryFolder folder_;
    const std::filesystem::path program_ = folder_ / "program";
    KeyFolder keys_{folder_ / "keys"};
};

INSTANTIATE_TYPED_TEST_SUITE_P(Linux, SigningInformationConformance, SignedProgramHarness);

} // namespace
} // namespace kelo
