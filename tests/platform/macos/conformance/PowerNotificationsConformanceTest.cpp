#include "tests/conformance/PowerNotificationsConformance.h"

#include <IOKit/IOMessage.h>

#include <map>

#include "platform/macos/IOKitPowerNotifications.h"
#include "tests/platform/macos/conformance/SystemUnderTest.h"
#include "tests/platform/macos/doubles/IOKitDouble.h"

namespace kelo {
namespace {

class IOKitPowerHarness {
public:
    PowerNotifications& notifications() { return notifications_; }
    void removePowerDomain() { doubles::kernel().isRegistrationFailing = true; }
    void send(PowerMessage message, std::intptr_t notificationID) {
        static const std::map<PowerMessage, std::uint32_t> types = {
            {PowerMessage::canSystemSleep, kIOMessageCanSystemSleep},
            {PowerMessage::systemWillSleep, kIOMessageSystemWillSleep},
            {PowerMessage::systemHasPoweredOn, kIOMessageSystemHasPoweredOn}};
        doubles::sendPowerMessage(types.at(message), notificationID);
    }
    void sendOther() { doubles::sendPowerMessage(0xE0000320, 0); } // the system will power on
    void run() { runMainLoop(SystemUnderTest::unit); }
    std::vector<std::intptr_t> allowed() { return doubles::kernel().allowed; }

private:
    SystemUnderTest system_;
    DispatchMainQueue queue_;
    IOKitPowerNotifications notifications_;
};

INSTANTIATE_TYPED_TEST_SUITE_P(MacOS, PowerNotificationsConformance, IOKitPowerHarness);

} // namespace
} // namespace kelo
