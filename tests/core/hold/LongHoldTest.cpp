#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "core/fan/FanController.h"
#include "core/hold/FanHold.h"
#include "core/hold/FanMath.h"
#include "core/hold/ThermalFloor.h"
#include "core/smc/smc.h"
#include "simulator/SimulatedExchange.h"
#include "simulator/SimulatedMac.h"
#include "tests/support/ScriptedClamshell.h"
#include "tests/support/ScriptedPower.h"
#include "tests/support/VirtualFanSystem.h"
#include "tests/support/VirtualQueue.h"

namespace kelo {
namespace {

constexpr double driftTolerance = 25.0;

/// A hold on a whole simulated Mac with its physics, to which everything that can happen to a Mac happens at random.
/// Checks after each step what must always be true.
class LongHold {
public:
    LongHold(const std::string& profileName, unsigned seed)
        : profile_(*Profile::named(profileName)), random_(seed), mac_(
                                                                     profile_, [this] { return now_; }, 3.0),
          exchange_(mac_) {
        smc_set_exchange(&exchange_);
        fans_ = std::make_shared<FanController>(system_);
        clamshell_.state = false;
    }
    ~LongHold() {
        hold_.reset();
        fans_.reset();
        smc_set_exchange(nullptr);
    }

    void run(double hours) {
        startHold();
        while (now_ < hours * 3600 && !::testing::Test::HasFailure()) {
            disturb();
            checkInvariants();
            tick();
            checkInvariants();
        }
        stopHold();
        checkInvariants();
    }

    int holds = 0;
    int yields = 0;
    int sleeps = 0;
    int repairs = 0;
    int timesAirWasAdded = 0;
    int writingTicks = 0;
    int ordinaryTicks = 0;
    int ticks = 0;

private:
    bool chance(double probability) { return std::uniform_real_distribution(0.0, 1.0)(random_) < probability; }
    double anywhere(double from, double to) { return std::uniform_real_distribution(from, to)(random_); }

    void startHold() {
        asked_ = anywhere(0, 1);
        handsBackOnLidClose_ = chance(0.5);
        hold_ = std::make_shared<FanHold>(fans_, asked_, handsBackOnLidClose_,
                                          HoldSurroundings{queue_, power_, clamshell_});
        hold_->onEvent = [this](const FanHold::Event& event) { observe(event); };
        lastFraction_.reset();
        mac_.controller().clearLog();
        ++holds;
        hold_->start();
        isHolding_ = true;
        readLog();
    }

    void stopHold() {
        hold_->stop();
        isHolding_ = false;
    }

    void observe(const FanHold::Event& event) {
        yields += event == FanHold::Event::yielded() ? 1 : 0;
        repairs += event == FanHold::Event::reasserted() ? 1 : 0;
        timesAirWasAdded += std::holds_alternative<FanHold::Event::AddingAir>(event.value) ? 1 : 0;
    }

    void disturb() {
        isInterferedWith_ = false;
        if (chance(0.02))
            mac_.setLoad(chance(0.5) ? 1.0 : anywhere(0, 1));
        if (chance(0.02))
            clamshell_.state = !std::get<bool>(clamshell_.state);
        if (chance(0.01))
            fallAsleepOrWake();
        if (chance(0.03))
            interfere();
        if (chance(0.01))
            loseOrFindSensor();
        // No client runs while the system sleeps, so no hold is asked for then.
        if (!isAsleep_ && chance(0.002)) {
            stopHold();
            checkInvariants();
            startHold();
        }
    }

    void fallAsleepOrWake() {
        isAsleep_ = !isAsleep_;
        sleeps += isAsleep_ ? 1 : 0;
        const std::size_t acknowledged = power_.allowed().size();
        if (isAsleep_) {
            power_.onAllow = [](std::intptr_t) {}; // nothing is handed back for the question whether it may sleep
            power_.send(0xE0000270, 1);
            power_.onAllow = [this](std::intptr_t) { expectEveryFanAutomatic("at the acknowledgement of sleep"); };
            power_.send(0xE0000280, 2);
            EXPECT_EQ(power_.allowed().size(), acknowledged + 2);
        } else {
            power_.send(0xE0000300);
        }
        mac_.setAsleep(isAsleep_);
        readLog();
    }

    void interfere() {
        const int fan = static_cast<int>(random_() % static_cast<unsigned>(mac_.fanCount()));
        const auto& range = profile_.fans[static_cast<std::size_t>(fan)];
        // A program that takes a fan which the hold has given back is none of the hold's business.
        if (!mustHold() || hold_->isYieldedToLid())
            return;
        isInterferedWith_ = true;
        if (chance(0.5))
            mac_.interfereWithMode(fan, false);
        else
            mac_.interfereWithSpeed(fan, anywhere(range.minRPM, range.maxRPM));
    }

    void loseOrFindSensor() {
        auto& controller = mac_.controller();
        if (controller.has(profile_.chipKey))
            controller.remove(profile_.chipKey);
        else
            controller.defineNumber(profile_.chipKey, smc_type::flt, mac_.chipCelsius());
    }

    void tick() {
        const bool isOrdinary = mustHold() && wasHeldAtLastTick_ && !isInterferedWith_ && isAtAskedTargets();
        const int airBefore = timesAirWasAdded;
        auto& controller = mac_.controller();
        controller.clearLog();
        queue_.runFor(2.0);
        const auto writes = controller.texts(SMCCommand::writeBytes);
        ++ticks;
        writingTicks += writes.empty() ? 0 : 1;
        if (isOrdinary && timesAirWasAdded == airBefore) {
            ++ordinaryTicks;
            EXPECT_TRUE(writes.empty()) << writes.front() << " at " << now_ << " s";
        }
        wasHeldAtLastTick_ = mustHold();
        readLog();
        if (mustHold())
            expectEngaged();
    }

    /// Whether the fans are where they were asked to be, and no air is being added.
    bool isAtAskedTargets() {
        if (hold_->isAddingAir())
            return false;
        for (int i = 0; i < mac_.fanCount(); ++i) {
            const auto& range = profile_.fans[static_cast<std::size_t>(i)];
            const double target = mac_.controller().number("F" + std::to_string(i) + "Tg");
            if (std::fabs(target - FanMath::target(range.minRPM, range.maxRPM, asked_)) > driftTolerance / 2)
                return false;
        }
        return true;
    }

    bool mustHold() const {
        return isHolding_ && !isAsleep_ && !(std::get<bool>(clamshell_.state) && handsBackOnLidClose_);
    }

    void expectEngaged() {
        for (int i = 0; i < mac_.fanCount(); ++i) {
            const auto prefix = "F" + std::to_string(i);
            EXPECT_EQ(mac_.controller().number(prefix + "Md"), 1) << "fan " << i << " at " << now_ << " s";
            const auto& range = profile_.fans[static_cast<std::size_t>(i)];
            EXPECT_GE(mac_.controller().number(prefix + "Tg"),
                      FanMath::target(range.minRPM, range.maxRPM, asked_) - driftTolerance - readingResolution());
        }
        EXPECT_NEAR(mac_.controller().number("F0Tg"),
                    FanMath::target(profile_.fans[0].minRPM, profile_.fans[0].maxRPM, *lastFraction_),
                    driftTolerance + readingResolution());
    }

    void expectEveryFanAutomatic(const char* when) {
        for (int i = 0; i < mac_.fanCount(); ++i)
            EXPECT_EQ(mac_.controller().number("F" + std::to_string(i) + "Md"), 0) << when << ", at " << now_ << " s";
    }

    /// The hold reads "fpe2" keys in whole RPM; they hold quarters.
    double readingResolution() const { return profile_.speedType == smc_type::fpe2 ? 1.0 : 0.001; }

    void checkInvariants() {
        const bool standsAside = !isHolding_ || isAsleep_ || hold_->isYieldedToLid();
        if (standsAside)
            expectEveryFanAutomatic(isAsleep_ ? "while asleep" : "while yielded or stopped");
    }

    /// Follows the held fraction by what the first fan was told: never below the asked one, and falling by one step for
    /// each evaluation (each of them asks for the chip's temperature once) at most.
    void readLog() {
        auto& controller = mac_.controller();
        const auto& range = profile_.fans[0];
        const double resolution = 1.0 / (range.maxRPM - range.minRPM); // speeds are written as floats or quarters
        for (const auto& record : controller.log()) {
            const auto command = static_cast<SMCCommand>(record.request.data8);
            if (command == SMCCommand::readKeyInfo && record.key() == "Tp09")
                ++evaluations_;
            if (command != SMCCommand::writeBytes || record.key() != "F0Tg")
                continue;
            const double fraction = (writtenSpeed(record) - range.minRPM) / (range.maxRPM - range.minRPM);
            EXPECT_GE(fraction, asked_ - resolution) << "at " << record.time << " s";
            if (lastFraction_) {
                EXPECT_GE(fraction, *lastFraction_ - evaluations_ * ThermalFloor::fallPerStep - resolution)
                    << "at " << record.time << " s";
            }
            lastFraction_ = fraction;
            evaluations_ = 0;
        }
        controller.clearLog();
    }

    double writtenSpeed(const ExchangeRecord& record) const {
        if (profile_.speedType == smc_type::fpe2)
            return (record.request.bytes[0] << 8 | record.request.bytes[1]) / 4.0;
        float speed = 0;
        std::memcpy(&speed, record.request.bytes, sizeof speed);
        return static_cast<double>(speed);
    }

    double now_ = 0;
    Profile profile_;
    std::mt19937 random_;
    SimulatedMac mac_;
    SimulatedExchange exchange_;
    VirtualFanSystem system_{now_};
    VirtualQueue queue_{now_};
    ScriptedPower power_;
    ScriptedClamshell clamshell_;
    std::shared_ptr<FanController> fans_;
    std::shared_ptr<FanHold> hold_;
    double asked_ = 0;
    bool handsBackOnLidClose_ = false;
    bool isHolding_ = false;
    bool isAsleep_ = false;
    bool isInterferedWith_ = false;
    bool wasHeldAtLastTick_ = false;
    std::optional<double> lastFraction_;
    int evaluations_ = 0;
};

class LongHoldTest : public ::testing::TestWithParam<std::pair<std::string, unsigned>> {};

TEST_P(LongHoldTest, TenHoursOfEverythingKeepEveryPromise) {
    const auto& [profile, seed] = GetParam();
    LongHold hold(profile, seed);
    hold.run(10);
    // The run is worth something only if everything has happened in it.
    EXPECT_GT(hold.holds, 3);
    EXPECT_GT(hold.yields, 5);
    EXPECT_GT(hold.sleeps, 5);
    EXPECT_GT(hold.repairs, 20);
    EXPECT_GT(hold.timesAirWasAdded, 5);
    EXPECT_GT(hold.ticks, 10'000);
    EXPECT_GT(hold.ordinaryTicks, 1'000);
    EXPECT_LT(hold.writingTicks, hold.ticks / 2);
}

INSTANTIATE_TEST_SUITE_P(Profiles, LongHoldTest,
                         ::testing::Values(std::pair("laptop", 1U), std::pair("laptop", 2U), std::pair("desktop", 3U),
                                           std::pair("locked", 4U)),
                         [](const auto& given) { return given.param.first + std::to_string(given.param.second); });

} // namespace
} // namespace kelo
