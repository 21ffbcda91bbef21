#include "tests/conformance/SMCExchangeConformance.h"

#include <cstring>

#include "platform/macos/IOKitExchange.h"
#include "simulator/model/SimulatedController.h"
#include "tests/platform/macos/doubles/IOKitDouble.h"
#include "tests/platform/macos/doubles/OnDoubles.h"

namespace kelo {
namespace {

class IOKitExchangeHarness {
public:
    IOKitExchangeHarness() {
        controller_.defineNumber("FNum", smc_type::ui8, 2);
        controller_.defineNumber("F0Md", smc_type::ui8, 0);
        doubles::kernel().driver = [this](const void* request, void* reply) {
            SMCKeyData record{};
            std::memcpy(&record, request, sizeof record);
            const auto answer = controller_.exchange(record);
            if (!answer)
                return kIOReturnError;
            std::memcpy(reply, &*answer, sizeof *answer);
            return KERN_SUCCESS;
        };
    }

    SMCExchange& exchange() { return exchange_; }
    void removeController() { doubles::kernel().services.erase("AppleSMC"); }
    void failNextExchange() { controller_.failExchange(1); }
    int openConnections() { return doubles::kernel().openConnections; }

private:
    doubles::DoublesScope scope_;
    SimulatedController controller_;
    IOKitExchange exchange_;
};

INSTANTIATE_TYPED_TEST_SUITE_P(MacOS, SMCExchangeConformance, IOKitExchangeHarness);

} // namespace
} // namespace kelo
