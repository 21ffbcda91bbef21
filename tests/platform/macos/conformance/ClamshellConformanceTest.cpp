#include "tests/conformance/ClamshellConformance.h"

#include "platform/macos/IOKitClamshell.h"
#include "tests/platform/macos/doubles/CoreFoundationDouble.h"
#include "tests/platform/macos/doubles/IOKitDouble.h"
#include "tests/platform/macos/doubles/OnDoubles.h"

namespace kelo {
namespace {

class IOKitClamshellHarness {
public:
    Clamshell& clamshell() { return clamshell_; }

    void setState(const ClamshellProperty& state) {
        doubles::kernel().clamshellState = [state]() -> CFTypeRef {
            if (const auto* isClosed = std::get_if<bool>(&state))
                return doubles::makeCFBoolean(*isClosed);
            if (const auto* number = std::get_if<double>(&state))
                return doubles::makeCFNumber(*number);
            if (std::holds_alternative<UnconvertibleProperty>(state))
                return doubles::makeCFString("closed");
            return nullptr;
        };
    }

    void removePowerDomain() { doubles::kernel().services.erase("IOPMrootDomain"); }

private:
    doubles::DoublesScope scope_;
    IOKitClamshell clamshell_;
};

INSTANTIATE_TYPED_TEST_SUITE_P(MacOS, ClamshellConformance, IOKitClamshellHarness);

} // namespace
} // namespace kelo
