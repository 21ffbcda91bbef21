#pragma once

#include <gmock/gmock.h>

#include <atomic>
#include <cmath>
#include <cstring>
#include <limits>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "client/HelperConnection.h"
#include "testing/ScriptedHelper.h"

namespace kelo {

/// Tests every transport of the five requests and their replies. The harness is the same as for ListenerConformance.
template <typename Harness>
class HelperConnectionConformance : public ::testing::Test {
protected:
    void SetUp() override {
        harness.listener().setAdmission(admission.callable());
        harness.listener().setConnectionCodeSigningRequirement(harness.requirement());
        EXPECT_TRUE(harness.listener().resume());
        client = harness.connectTrusted();
    }

    // Declared before the harness, because its threads use these objects until it is destroyed.
    std::shared_ptr<ScriptedHelper> helper = std::make_shared<ScriptedHelper>();
    ScriptedAdmission admission{helper};
    Harness harness;
    std::unique_ptr<HelperConnection> client;
};

TYPED_TEST_SUITE_P(HelperConnectionConformance);

TYPED_TEST_P(HelperConnectionConformance, DeliversEachTypeOfRequest) {
    this->client->ask(requests::FetchSnapshot{});
    this->client->ask(requests::Hold{0.5, true});
    this->client->ask(requests::HandBack{});
    this->client->ask(requests::HelperVersion{});
    this->client->ask(requests::StandDown{});
    EXPECT_THAT(this->helper->requests(),
                ::testing::ElementsAre("fetchSnapshot", "hold", "handBack", "helperVersion", "standDown"));
}

TYPED_TEST_P(HelperConnectionConformance, ASnapshotMayBeMissingEmptyOrArbitraryBytes) {
    this->helper->snapshot = std::nullopt;
    EXPECT_EQ(this->client->ask(requests::FetchSnapshot{}), std::nullopt);
    this->helper->snapshot = Data();
    EXPECT_EQ(this->client->ask(requests::FetchSnapshot{}), Data());
    Data bytes;
    for (int value = 0; value < 256; ++value)
        bytes.push_back(static_cast<std::uint8_t>(value));
    this->helper->snapshot = bytes;
    EXPECT_EQ(this->client->ask(requests::FetchSnapshot{}), bytes);
}

TYPED_TEST_P(HelperConnectionConformance, ASnapshotMayBeLarge) {
    this->helper->snapshot = Data(16 * 1024, 0xA5);
    EXPECT_EQ(this->client->ask(requests::FetchSnapshot{}), this->helper->snapshot);
}

TYPED_TEST_P(HelperConnectionConformance, DeliversAnOptionalErrorText) {
    for (const auto& error : {std::optional<std::string>(), std::optional<std::string>(""),
                              std::optional<std::string>("The fan can’t be controlled: Lüfter 🌀")}) {
        this->helper->error = error;
        EXPECT_EQ(this->client->ask(requests::Hold{0.5, false}), error);
        EXPECT_EQ(this->client->ask(requests::HandBack{}), error);
    }
}

TYPED_TEST_P(HelperConnectionConformance, AHoldKeepsEveryBitOfItsFractionAndItsLidOption) {
    const std::vector<double> fractions = {0.0,
                                           -0.0,
                                           0.1,
                                           1.0,
                                           -2.5,
                                           1e300,
                                           std::numeric_limits<double>::denorm_min(),
                                           std::numeric_limits<double>::infinity(),
                                           -std::numeric_limits<double>::infinity()};
    bool lidWish = false;
    for (const double fraction : fractions) {
        lidWish = !lidWish;
        this->client->ask(requests::Hold{fraction, lidWish});
        const auto [arrived, arrivedWish] = this->helper->holds().back();
        EXPECT_EQ(std::memcmp(&arrived, &fraction, sizeof fraction), 0) << fraction;
        EXPECT_EQ(arrivedWish, lidWish);
    }
    this->client->ask(requests::Hold{std::numeric_limits<double>::quiet_NaN(), false});
    EXPECT_TRUE(std::isnan(this->helper->holds().back().first));
}

TYPED_TEST_P(HelperConnectionConformance, TheVersionKeepsEveryBit) {
    for (const std::int64_t version :
         {std::int64_t{6}, std::int64_t{0}, std::int64_t{-1}, std::numeric_limits<std::int64_t>::max(),
          std::numeric_limits<std::int64_t>::min()}) {
        this->helper->version = version;
        EXPECT_EQ(this->client->ask(requests::HelperVersion{}), version);
    }
}

TYPED_TEST_P(HelperConnectionConformance, AReplyMayComeLaterAndFromAnotherThread) {
    std::vector<std::thread> repliers;
    this->helper->answer = [&](std::function<void()> reply) {
        repliers.emplace_back([reply = std::move(reply)] {
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
            reply();
        });
    };
    this->helper->error = "late";
    this->helper->snapshot = Data{1, 2, 3};
    EXPECT_EQ(this->client->ask(requests::FetchSnapshot{}), this->helper->snapshot);
    EXPECT_EQ(this->client->ask(requests::Hold{0.5, true}), "late");
    EXPECT_EQ(this->client->ask(requests::HandBack{}), "late");
    EXPECT_EQ(this->client->ask(requests::HelperVersion{}), 6);
    this->client->ask(requests::StandDown{});
    for (auto& replier : repliers)
        replier.join();
}

TYPED_TEST_P(HelperConnectionConformance, TwoClientsDoNotWaitForEachOther) {
    const auto other = this->harness.connectTrusted();
    std::atomic<bool> isHeld = false;
    std::atomic<bool> isReleased = false;
    std::thread replier;
    this->helper->answer = [&](std::function<void()> reply) {
        if (isHeld)
            return reply();
        replier = std::thread([&, reply = std::move(reply)] {
            while (!isReleased)
                std::this_thread::yield();
            reply();
        });
        isHeld = true;
    };
    std::thread waiting([&] { this->client->ask(requests::Hold{0.5, false}); });
    while (!isHeld)
        std::this_thread::yield();
    EXPECT_EQ(other->ask(requests::HelperVersion{}), 6);
    isReleased = true;
    waiting.join();
    replier.join();
}

TYPED_TEST_P(HelperConnectionConformance, RequestsThrowAOneLineMessageWhenTheConnectionEnds) {
    this->helper->keepReplies();
    this->helper->answer = [this, keep = this->helper->answer](std::function<void()> reply) {
        keep(std::move(reply));
        this->harness.endConnections();
    };
    for (const char* const moment : {"during the end", "after the end"}) {
        SCOPED_TRACE(moment);
        try {
            this->client->ask(requests::HandBack{});
            ADD_FAILURE() << "nothing was thrown";
        } catch (const HelperUnreachable& error) {
            const std::string sentence = error.what();
            EXPECT_GT(sentence.size(), 10U);
            EXPECT_EQ(sentence.find('\n'), std::string::npos);
        }
    }
    this->harness.settle();
    this->helper->dropKept();
}

REGISTER_TYPED_TEST_SUITE_P(HelperConnectionConformance, DeliversEachTypeOfRequest,
                            ASnapshotMayBeMissingEmptyOrArbitraryBytes, ASnapshotMayBeLarge,
                            DeliversAnOptionalErrorText, AHoldKeepsEveryBitOfItsFractionAndItsLidOption,
                            TheVersionKeepsEveryBit, AReplyMayComeLaterAndFromAnotherThread,
                            TwoClientsDoNotWaitForEachOther, RequestsThrowAOneLineMessageWhenTheConnectionEnds);

} // namespace kelo
