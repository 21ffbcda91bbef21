#include "tests/conformance/PowerNotificationsConformance.h"

#include "platform/macos/IOKitPowerNotifications.h"
#include "tests/platform/macos/conformance/SystemUnderTest.h"
#include "tests/platform/macos/doubles/IOKitDouble.h"

namespace kelo {
namespace {

class IOKitPowerHarness {
public:
    PowerNotifications& notifications() { return notifications_; }
    void removePowerDomain() { doubles::kernel().isRegistrationFailing = true; }
    void send(std::uint32_t messageType, std::intptr_t argument) { doubles::sendPowerMessage(messageType, argument); }
    void run() { runMainLoop(queue_, SystemUnderTest::unit); }
    std::vector<std::intptr_t> allowed() { return doubles::kernel().allowed; }

private:
    SystemUnderTest system_;
    DispatchMainQueue queue_;
    IOKitPowerNotifications notifications_;
};

INSTANTIATE_TYPED_TEST_SUITE_P(MacOS, PowerNotificationsConformance, IOKitPowerHarness);

} // namespace
} // namespace kelo
