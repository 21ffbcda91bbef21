#pragma once

#include <gtest/gtest.h>

#include "core/smc/smc.h"
#include "simulator/model/SimulatedController.h"
#include "simulator/model/SimulatedExchange.h"

namespace kelo {

/// The key client, connected to a simulated controller in this process. Fails a test that leaves the connection open.
class SMCFixture : public ::testing::Test {
protected:
    SMCFixture() { smc_set_exchange(&exchange); }
    ~SMCFixture() override {
        smc_close();
        smc_set_exchange(nullptr);
        EXPECT_EQ(exchange.openConnections(), 0);
    }

    double now = 0; ///< Virtual seconds.
    SimulatedController controller{[this] { return now; }};
    SimulatedExchange exchange{controller};
};

class OpenSMCFixture : public SMCFixture {
protected:
    OpenSMCFixture() { EXPECT_EQ(smc_open(), 0); }
};

} // namespace kelo
