#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "core/fan/FanController.h"
#include "core/hold/FanHold.h"
#include "core/hold/PowerWatch.h"
#include "core/smc/smc.h"
#include "simulator/model/SimulatedExchange.h"
#include "simulator/model/SimulatedMac.h"
#include "testing/ScriptedClamshell.h"
#include "testing/ScriptedPower.h"
#include "testing/ScriptedRights.h"
#include "testing/VirtualClock.h"
#include "testing/VirtualQueue.h"
#include "tests/core/hold/HeldFractionModel.h"

namespace kelo {
namespace {

constexpr double driftTolerance = 25.0;
constexpr double fallPerEvaluation = 0.02;

/// A hold on a whole simulated Mac with its physics, to which everything that can happen to a Mac happens at random.
/// Checks after each step what must always be true.
///
/// What must be true follows from what the test itself did to lid, sleep and hold, and from the chip readings that the
/// controller gave: the hold is never asked what it thinks.
class LongHold {
public:
    LongHold(const std::string& profileName, unsigned seed)
        : profile_(*Profile::named(profileName)), random_(seed), mac_(
                                                                     profile_, [this] { return now_; }, 3.0),
          exchange_(mac_) {
        smc_set_exchange(&exchange_);
        fans_ = std::make_shared<FanController>(exchange_, clock_, rights_);
        clamshell_.state = false;
    }
    ~LongHold() {
        hold_.reset();
        fans_.reset();
        smc_set_exchange(nullptr);
    }

    void run(double hours) {
        watch_.start();
        startHold();
        while (now_ < hours * 3600 && !::testing::Test::HasFailure()) {
            disturb();
            // A lid that has just been closed is seen by the next tick.
            if (isAsleep_ || (!mustHold() && !wasHeldAtLastTick_))
                expectEveryFanAutomatic("after a disturbance");
            tick();
        }
        stopHold();
    }

    int holds = 0;
    int yields = 0;
    int sleeps = 0;
    int repairs = 0;
    int timesAirWasAdded = 0;
    int writingTicks = 0;
    int ordinaryTicks = 0;
    int ticks = 0;
    int fullSteps = 0;
    int evaluationsWithoutReading = 0;

private:
    bool chance(double probability) { return std::uniform_real_distribution(0.0, 1.0)(random_) < probability; }
    double anywhere(double from, double to) { return std::uniform_real_distribution(from, to)(random_); }

    void startHold() {
        asked_ = anywhere(0, 1);
        handsBackOnLidClose_ = chance(0.5);
        hold_ = std::make_shared<FanHold>(fans_, asked_, handsBackOnLidClose_, HoldDependencies{queue_, clamshell_});
        hold_->onEvent = [this](const FanHold::Event& event) { observe(event); };
        model_ = HeldFractionModel(asked_);
        lastWrites_.assign(static_cast<std::size_t>(mac_.fanCount()), std::nullopt);
        mac_.controller().clearLog();
        ++holds;
        hold_->start(isAsleep_);
        readLog();
        if (mustHold())
            expectEngaged("after the start");
    }

    void stopHold() {
        hold_->stop();
        expectEveryFanAutomatic("after the stop");
        fullSteps += model_.fullSteps;
        evaluationsWithoutReading += model_.evaluationsWithoutReading;
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
        if (chance(0.002)) {
            stopHold();
            startHold();
        }
    }

    void fallAsleepOrWake() {
        isAsleep_ = !isAsleep_;
        sleeps += isAsleep_ ? 1 : 0;
        const std::size_t acknowledged = power_.allowed().size();
        if (isAsleep_) {
            power_.onAllow = [](std::intptr_t) {}; // nothing is handed back for the question whether it may sleep
            power_.send(PowerMessage::canSystemSleep, 1);
            power_.onAllow = [this](std::intptr_t) { expectEveryFanAutomatic("at the acknowledgement of sleep"); };
            power_.send(PowerMessage::systemWillSleep, 2);
            EXPECT_EQ(power_.allowed().size(), acknowledged + 2);
        } else {
            power_.send(PowerMessage::systemHasPoweredOn);
        }
        mac_.setAsleep(isAsleep_);
        readLog();
        if (mustHold())
            expectEngaged("after the wake");
    }

    void interfere() {
        const int fan = static_cast<int>(random_() % static_cast<unsigned>(mac_.fanCount()));
        // A program that takes a fan which the hold has given back is none of the hold's business.
        if (!mustHold())
            return;
        isInterferedWith_ = true;
        if (chance(0.5))
            mac_.interfereWithMode(fan, false);
        else
            mac_.interfereWithSpeed(fan, anywhere(range(fan).minRPM, range(fan).maxRPM));
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
        auto& controller = mac_.controller();
        controller.clearLog();
        queue_.runFor(2.0);
        const auto writes = controller.texts(SMCCommand::writeBytes);
        ++ticks;
        writingTicks += writes.empty() ? 0 : 1;
        readLog();
        if (isOrdinary && !model_.isAddingAir()) {
            ++ordinaryTicks;
            EXPECT_TRUE(writes.empty()) << writes.front() << " at " << now_ << " s";
        }
        wasHeldAtLastTick_ = mustHold();
        if (mustHold())
            expectEngaged("after a tick");
        else
            expectEveryFanAutomatic("after a tick");
        EXPECT_EQ(hold_->isYieldedToLid(), !isAsleep_ && !mustHold()) << "at " << now_ << " s";
        EXPECT_EQ(hold_->isAddingAir(), model_.isAddingAir()) << "at " << now_ << " s";
    }

    /// Whether the fans are where they were asked to be, and no air is being added.
    bool isAtAskedTargets() {
        if (model_.isAddingAir())
            return false;
        for (int i = 0; i < mac_.fanCount(); ++i)
            if (std::fabs(number(i, "Tg") - speed(i, asked_)) > driftTolerance / 2)
                return false;
        return true;
    }

    bool mustHold() const { return !isAsleep_ && !(std::get<bool>(clamshell_.state) && handsBackOnLidClose_); }

    void expectEngaged(const char* when) {
        for (int i = 0; i < mac_.fanCount(); ++i) {
            EXPECT_EQ(number(i, "Md"), 1) << "fan " << i << " " << when << ", at " << now_ << " s";
            EXPECT_NEAR(number(i, "Tg"), speed(i, model_.held()), driftTolerance + readingResolution())
                << "fan " << i << " " << when << ", at " << now_ << " s";
        }
    }

    void expectEveryFanAutomatic(const char* when) {
        for (int i = 0; i < mac_.fanCount(); ++i)
            EXPECT_EQ(number(i, "Md"), 0) << "fan " << i << " " << when << ", at " << now_ << " s";
    }

    /// The hold reads "fpe2" keys in whole RPM; they hold quarters.
    double readingResolution() const { return profile_.speedType == smc_type::fpe2 ? 1.0 : 0.001; }
    double writingResolution() const { return profile_.speedType == smc_type::fpe2 ? 0.25 : 0.001; }

    const Profile::FanRange& range(int fan) const { return profile_.fans[static_cast<std::size_t>(fan)]; }
    double speed(int fan, double fraction) const {
        return range(fan).minRPM + (range(fan).maxRPM - range(fan).minRPM) * fraction;
    }
    double number(int fan, const char* suffix) { return mac_.controller().number("F" + std::to_string(fan) + suffix); }

    /// Follows what the chip read and what each fan was told.
    void readLog() {
        auto& controller = mac_.controller();
        for (const auto& record : controller.log()) {
            model_.hear(record);
            const auto key = record.key();
            if (static_cast<SMCCommand>(record.request.data8) == SMCCommand::writeBytes && key.ends_with("Tg"))
                checkWrite(key[1] - '0', record);
        }
        model_.concludeLook();
        controller.clearLog();
    }

    /// What a fan is told is what the readings ask for: in particular never below the asked fraction, and never falling
    /// by more than one step for each evaluation.
    void checkWrite(int fan, const ExchangeRecord& record) {
        const double rpm = writtenSpeed(record);
        EXPECT_NEAR(rpm, speed(fan, model_.held()), writingResolution()) << "fan " << fan << " at " << now_ << " s";
        EXPECT_GE(rpm, speed(fan, asked_) - writingResolution()) << "fan " << fan << " at " << now_ << " s";
        auto& last = lastWrites_[static_cast<std::size_t>(fan)];
        if (last) {
            const double steps = model_.evaluations - last->evaluations;
            const double fall = steps * fallPerEvaluation * (range(fan).maxRPM - range(fan).minRPM);
            EXPECT_GE(rpm, last->rpm - fall - writingResolution()) << "fan " << fan << " at " << now_ << " s";
        }
        last = {rpm, model_.evaluations};
    }

    double writtenSpeed(const ExchangeRecord& record) const {
        if (profile_.speedType == smc_type::fpe2)
            return (record.request.bytes[0] << 8 | record.request.bytes[1]) / 4.0;
        float rpm = 0;
        std::memcpy(&rpm, record.request.bytes, sizeof rpm);
        return static_cast<double>(rpm);
    }

    struct Write {
        double rpm;
        int evaluations; ///< How many there had been by then.
    };

    double now_ = 0;
    Profile profile_;
    std::mt19937 random_;
    SimulatedMac mac_;
    SimulatedExchange exchange_;
    VirtualClock clock_{now_};
    ScriptedRights rights_;
    VirtualQueue queue_{now_};
    ScriptedPower power_;
    PowerWatch watch_{power_, [this] { hold_->systemWillSleep(); }, [this] { hold_->systemDidWake(); }};
    ScriptedClamshell clamshell_;
    std::shared_ptr<FanController> fans_;
    std::shared_ptr<FanHold> hold_;
    double asked_ = 0;
    bool handsBackOnLidClose_ = false;
    bool isAsleep_ = false;
    bool isInterferedWith_ = false;
    bool wasHeldAtLastTick_ = false;
    HeldFractionModel model_{0};
    std::vector<std::optional<Write>> lastWrites_; ///< By fan.
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
    EXPECT_GT(hold.fullSteps, 50);
    EXPECT_GT(hold.evaluationsWithoutReading, 500);
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
