#include "simulator/server/HardwareServer.h"

#include <gmock/gmock.h>

#include <chrono>
#include <string>
#include <vector>

#include "platform/linux/hardware/MacWire.h"
#include "platform/linux/hardware/SimulatedMacHardware.h"
#include "platform/linux/socket/UnixSocket.h"
#include "testing/MacUnderTest.h"

namespace kelo {
namespace {

using namespace hardware_calls;
using mac_wire::bytesOf;

class HardwareServerTest : public ::testing::Test {
protected:
    FileDescriptor connect(const char* name) const {
        auto socket = unix_socket::connect(mac.folder(), name);
        unix_socket::setTimeout(socket.get(), std::chrono::seconds(10));
        return socket;
    }
    static void send(const FileDescriptor& socket, const std::vector<std::uint8_t>& bytes) {
        EXPECT_EQ(unix_socket::send(socket.get(), bytes), unix_socket::Sent::whole);
    }
    /// Waits for the next message. Returns an empty message at the end of the connection.
    static std::vector<std::uint8_t> receive(const FileDescriptor& socket) {
        std::vector<std::uint8_t> buffer(4096);
        const auto received = unix_socket::receive(socket.get(), buffer);
        const auto* bytes = std::get_if<unix_socket::Bytes>(&received);
        return bytes == nullptr ? std::vector<std::uint8_t>() : std::vector(bytes->begin(), bytes->end());
    }
    static mac_wire::PowerRecord receivePower(const FileDescriptor& socket) {
        mac_wire::PowerRecord record{};
        const auto received = unix_socket::receive(socket.get(), bytesOf(record));
        EXPECT_TRUE(std::holds_alternative<unix_socket::Bytes>(received));
        return record;
    }
    bool isServing() const { return mac.refusal(Show{}).empty(); }

    MacUnderTest mac;
};

TEST_F(HardwareServerTest, RefusesAnInvalidCallWithAMessageAndServesTheNextOne) {
    const auto socket = connect(HardwareLink::socketName);
    send(socket, {0xFF});
    const auto answer = decodeAnswer(receive(socket));
    EXPECT_EQ(std::get<Refused>(answer).sentence, "That cannot be done: the message is not one name with its members.");
    send(socket, encode(AnyCall(Wake{})));
    EXPECT_TRUE(std::holds_alternative<Refused>(decodeAnswer(receive(socket))));
    EXPECT_THAT(mac.refusal(SetKey{"Temperature", 1}), ::testing::StartsWith("That cannot be done: "));
}

TEST_F(HardwareServerTest, DropsOnlyTheClientThatSendsAMessageOfTheWrongSize) {
    SimulatedMacHardware hardware(mac.folder());
    const auto connection = hardware.open();
    SMCKeyData reply{};
    for (const char* name : {mac_wire::hardwareSocket, mac_wire::powerSocket})
        for (const std::size_t size : {2U, 79U, 81U, 5000U}) {
            const auto socket = connect(name);
            if (name == mac_wire::powerSocket) {
                EXPECT_EQ(receivePower(socket).event, mac_wire::PowerEvent::registered);
            }
            send(socket, std::vector<std::uint8_t>(size));
            EXPECT_EQ(receive(socket), std::vector<std::uint8_t>()) << name << " " << size;
        }
    EXPECT_TRUE(hardware.exchange(connection, {}, reply));
}

TEST_F(HardwareServerTest, AnnouncesEachPowerEventAndWaitsForItsAcknowledgement) {
    const auto socket = connect(mac_wire::powerSocket);
    EXPECT_EQ(receivePower(socket).event, mac_wire::PowerEvent::registered);
    EXPECT_EQ(mac.call(Show{}).powerClients, 1U);
    SleepReport report;
    std::thread sleeping([&] { report = mac.call(Sleep{}); });
    for (const auto event : {mac_wire::PowerEvent::canSleep, mac_wire::PowerEvent::willSleep}) {
        const auto record = receivePower(socket);
        EXPECT_EQ(record.event, event);
        EXPECT_EQ(unix_socket::send(socket.get(), bytesOf(record.notificationID)), unix_socket::Sent::whole);
    }
    sleeping.join();
    EXPECT_EQ(report.acknowledged, 1);
    mac.drive(Wake{});
    EXPECT_EQ(receivePower(socket).event, mac_wire::PowerEvent::willPowerOn);
    EXPECT_EQ(receivePower(socket).event, mac_wire::PowerEvent::hasPoweredOn);
}

TEST_F(HardwareServerTest, DoesNotWaitForADisconnectedPowerClientAndNotifiesTheNextOneOfSleep) {
    auto socket = connect(mac_wire::powerSocket);
    EXPECT_EQ(receivePower(socket).notificationID, 0);
    socket = {};
    EXPECT_EQ(mac.call(Sleep{}).acknowledged, 0);
    EXPECT_EQ(receivePower(connect(mac_wire::powerSocket)).notificationID, 1);
}

TEST_F(HardwareServerTest, DelaysRepliesToExchangesOnRequest) {
    mac.drive(AnswerSlowly{0.05});
    send(connect(mac_wire::hardwareSocket),
         std::vector<std::uint8_t>(sizeof(SMCKeyData))); // disconnects before the reply
    SimulatedMacHardware hardware(mac.folder());
    const auto connection = hardware.open();
    SMCKeyData reply{};
    const auto start = std::chrono::steady_clock::now();
    EXPECT_TRUE(hardware.exchange(connection, {}, reply));
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(50));
}

TEST_F(HardwareServerTest, DropsAClientThatDoesNotReadItsAnswers) {
    const auto socket = connect(HardwareLink::socketName);
    const auto show = encode(AnyCall(Show{}));
    int calls = 0;
    while (calls < 100'000 && unix_socket::send(socket.get(), show) == unix_socket::Sent::whole)
        ++calls;
    EXPECT_LT(calls, 100'000);
    EXPECT_TRUE(isServing());
}

} // namespace
} // namespace kelo
