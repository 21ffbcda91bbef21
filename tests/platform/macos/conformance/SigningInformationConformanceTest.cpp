#include "tests/conformance/SigningInformationConformance.h"

#include "platform/macos/SecuritySigningInformation.h"
#include "tests/platform/macos/doubles/OnDoubles.h"
#include "tests/platform/macos/doubles/SecurityDouble.h"

namespace kelo {
namespace {

class SecuritySigningHarness {
public:
    SigningInformation& signingInformation() { return information_; }
    void sign(const std::optional<std::string>& team) { doubles::ownSignature().team = team; }

private:
    doubles::DoublesScope scope_;
    SecuritySigningInformation information_;
};

INSTANTIATE_TYPED_TEST_SUITE_P(MacOS, SigningInformationConformance, SecuritySigningHarness);

} // namespace
} // namespace kelo
