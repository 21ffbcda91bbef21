#pragma once

#include <gmock/gmock.h>

#include "core/smc/SMCExchange.h"
#include "core/smc/SMCKeyData.h"

namespace kelo {

/// Tests every exchange with the controller. The harness's controller has "FNum", a "ui8 " with value 2, and "F0Md", a
/// writable "ui8 "; it does not know "NONE". The harness:
///
///     SMCExchange& exchange();
///     void removeController();        // before anything is open: makes opening impossible
///     void failNextExchange();        // at transport level
///     int openConnections();
template <typename Harness>
class SMCExchangeConformance : public ::testing::Test {
protected:
    SMCExchange& exchange() { return harness.exchange(); }

    static SMCKeyData request(SMCCommand command, const char* key) {
        SMCKeyData record{};
        record.key = smcCode(key);
        record.data8 = static_cast<std::uint8_t>(command);
        return record;
    }

    /// Reads a key of one byte; fails the test if it cannot be read.
    std::uint8_t read(std::uint32_t connection, const char* key) {
        auto record = request(SMCCommand::readBytes, key);
        record.keyInfo.dataSize = 1;
        SMCKeyData reply{};
        EXPECT_TRUE(exchange().exchange(connection, record, reply));
        EXPECT_EQ(reply.result, 0);
        return reply.bytes[0];
    }

    Harness harness;
};

TYPED_TEST_SUITE_P(SMCExchangeConformance);

TYPED_TEST_P(SMCExchangeConformance, OpensAConnectionWithANonZeroHandle) {
    const auto connection = this->exchange().open();
    EXPECT_NE(connection, 0U);
    EXPECT_EQ(this->harness.openConnections(), 1);
    this->exchange().close(connection);
    EXPECT_EQ(this->harness.openConnections(), 0);
}

TYPED_TEST_P(SMCExchangeConformance, DoesNotOpenAConnectionWithoutAController) {
    this->harness.removeController();
    EXPECT_EQ(this->exchange().open(), 0U);
    EXPECT_EQ(this->harness.openConnections(), 0);
}

TYPED_TEST_P(SMCExchangeConformance, TransmitsARequestAndItsReply) {
    const auto connection = this->exchange().open();
    SMCKeyData reply{};
    ASSERT_TRUE(this->exchange().exchange(connection, this->request(SMCCommand::readKeyInfo, "FNum"), reply));
    EXPECT_EQ(reply.result, 0);
    EXPECT_EQ(reply.keyInfo.dataSize, 1U);
    EXPECT_EQ(reply.keyInfo.dataType, smc_type::ui8);
    EXPECT_EQ(this->read(connection, "FNum"), 2);
    this->exchange().close(connection);
}

TYPED_TEST_P(SMCExchangeConformance, ReadsBackAWrittenValue) {
    const auto connection = this->exchange().open();
    auto record = this->request(SMCCommand::writeBytes, "F0Md");
    record.keyInfo.dataSize = 1;
    for (const std::uint8_t value : {std::uint8_t{1}, std::uint8_t{0}}) {
        record.bytes[0] = value;
        SMCKeyData reply{};
        ASSERT_TRUE(this->exchange().exchange(connection, record, reply));
        EXPECT_EQ(reply.result, 0);
        EXPECT_EQ(this->read(connection, "F0Md"), value);
    }
    this->exchange().close(connection);
}

TYPED_TEST_P(SMCExchangeConformance, ARefusalIsNotAFailedExchange) {
    const auto connection = this->exchange().open();
    SMCKeyData reply{};
    EXPECT_TRUE(this->exchange().exchange(connection, this->request(SMCCommand::readKeyInfo, "NONE"), reply));
    EXPECT_NE(reply.result, 0);
    this->exchange().close(connection);
}

TYPED_TEST_P(SMCExchangeConformance, ReportsAFailedExchangeAndThenWorksAgain) {
    const auto connection = this->exchange().open();
    this->harness.failNextExchange();
    SMCKeyData reply{};
    EXPECT_FALSE(this->exchange().exchange(connection, this->request(SMCCommand::readKeyInfo, "FNum"), reply));
    EXPECT_EQ(this->read(connection, "FNum"), 2);
    this->exchange().close(connection);
}

TYPED_TEST_P(SMCExchangeConformance, HandleZeroIsNeverOpen) {
    SMCKeyData reply{};
    EXPECT_FALSE(this->exchange().exchange(0, this->request(SMCCommand::readKeyInfo, "FNum"), reply));
    const auto connection = this->exchange().open();
    EXPECT_FALSE(this->exchange().exchange(0, this->request(SMCCommand::readKeyInfo, "FNum"), reply));
    this->exchange().close(connection);
}

TYPED_TEST_P(SMCExchangeConformance, AnExchangeOverAClosedConnectionFails) {
    const auto connection = this->exchange().open();
    this->exchange().close(connection);
    SMCKeyData reply{};
    EXPECT_FALSE(this->exchange().exchange(connection, this->request(SMCCommand::readKeyInfo, "FNum"), reply));
}

TYPED_TEST_P(SMCExchangeConformance, CanBeReopenedAfterClosing) {
    this->exchange().close(this->exchange().open());
    const auto connection = this->exchange().open();
    EXPECT_EQ(this->read(connection, "FNum"), 2);
    this->exchange().close(connection);
}

REGISTER_TYPED_TEST_SUITE_P(SMCExchangeConformance, OpensAConnectionWithANonZeroHandle,
                            DoesNotOpenAConnectionWithoutAController, TransmitsARequestAndItsReply,
                            ReadsBackAWrittenValue, ARefusalIsNotAFailedExchange,
                            ReportsAFailedExchangeAndThenWorksAgain, HandleZeroIsNeverOpen,
                            AnExchangeOverAClosedConnectionFails, CanBeReopenedAfterClosing);

} // namespace kelo
