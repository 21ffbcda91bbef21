#include "simulator/model/SimulatedController.h"
#include "simulator/model/SimulatedExchange.h"
#include "testing/RecordingLog.h"
#include "testing/ScriptedClamshell.h"
#include "testing/ScriptedFileEvents.h"
#include "testing/ScriptedPlatform.h"
#include "testing/ScriptedPower.h"
#include "testing/VirtualClock.h"
#include "testing/VirtualQueue.h"
#include "tests/conformance/ClamshellConformance.h"
#include "tests/conformance/ClockConformance.h"
#include "tests/conformance/FileEventsConformance.h"
#include "tests/conformance/LogOutputConformance.h"
#include "tests/conformance/MainQueueConformance.h"
#include "tests/conformance/PowerNotificationsConformance.h"
#include "tests/conformance/SMCExchangeConformance.h"
#include "tests/conformance/SignalsConformance.h"
#include "tests/conformance/SigningInformationConformance.h"
#include "tests/conformance/SystemLogConformance.h"

namespace kelo {
namespace {

// The test doubles for the operating system must behave like the real implementations.

class VirtualQueueHarness {
public:
    static constexpr double unit = 1;
    MainQueue& queue() { return queue_; }
    void run(double seconds) { queue_.runFor(seconds); }
    void block(double seconds) { now_ += seconds; }

private:
    double now_ = 0;
    VirtualQueue queue_{now_};
};

class SimulatedExchangeHarness {
public:
    SimulatedExchangeHarness() {
        controller_.defineNumber("FNum", smc_type::ui8, 2);
        controller_.defineNumber("F0Md", smc_type::ui8, 0);
    }
    SMCExchange& exchange() { return exchange_; }
    void removeController() { exchange_.isPresent = false; }
    void failNextExchange() { controller_.failExchange(1); }
    int openConnections() { return exchange_.openConnections(); }

private:
    SimulatedController controller_;
    SimulatedExchange exchange_{controller_};
};

class ScriptedPowerHarness {
public:
    PowerNotifications& notifications() { return power_; }
    void removePowerDomain() { power_.isPresent = false; }
    void send(PowerMessage message, std::intptr_t notificationID) { waiting_.emplace_back(message, notificationID); }
    void sendOther() {} // PowerMessage cannot express any other message
    void run() {
        for (const auto& [message, notificationID] : std::exchange(waiting_, {}))
            power_.send(message, notificationID);
    }
    std::vector<std::intptr_t> allowed() { return power_.allowed(); }

private:
    ScriptedPower power_;
    std::vector<std::pair<PowerMessage, std::intptr_t>> waiting_;
};

class ScriptedClamshellHarness {
public:
    Clamshell& clamshell() { return clamshell_; }
    void setState(const ClamshellProperty& state) { clamshell_.state = state; }
    void removePowerDomain() { clamshell_.state = {}; }

private:
    ScriptedClamshell clamshell_;
};

class VirtualClockHarness {
public:
    Clock& clock() { return clock_; }

private:
    double now_ = 0;
    VirtualClock clock_{now_};
};

class ScriptedSignalsHarness {
public:
    Signals& signals() { return signals_; }
    void raise(int signal) { waiting_.push_back(signal); }
    void run() {
        for (const int signal : std::exchange(waiting_, {}))
            signals_.send(signal);
    }

private:
    ScriptedSignals signals_;
    std::vector<int> waiting_;
};

class ScriptedSigningInformationHarness {
public:
    SigningInformation& signingInformation() { return information_; }
    void sign(const std::optional<std::string>& team) { information_.team = team; }

private:
    ScriptedSigningInformation information_;
};

class ScriptedFileEventsHarness {
public:
    FileEvents& fileEvents() { return files_; }
    void run() { files_.deliver(); }
    std::string expectedOwnExecutable() { return *files_.executable; }

    std::string path(const std::string& name) const { return "/folder/" + name; }
    void write(const std::string& name, const std::string&) { files_.write(path(name)); }
    void rename(const std::string& from, const std::string& to) { files_.rename(path(from), path(to)); }
    void remove(const std::string& name) { files_.remove(path(name)); }
    void hardLink(const std::string& from, const std::string& to) { files_.link(path(from), path(to)); }
    // `identify` treats both types of link alike.
    void symbolicLink(const std::string& from, const std::string& to) { hardLink(from, to); }

private:
    ScriptedFileEvents files_;
};

class RecordingSystemLogHarness {
public:
    std::unique_ptr<SystemLog> makeLog(const std::string& category) {
        auto log = std::make_unique<RecordingSystemLog>();
        logs_.emplace_back(category, log.get());
        return log;
    }
    std::vector<KeptEntry> entries() {
        std::vector<KeptEntry> kept;
        for (const auto& [category, log] : logs_)
            for (const auto& [level, message] : log->entries())
                kept.push_back({category, level, message});
        return kept;
    }
    bool canDisable() { return true; }
    void disable(LogLevel level) {
        for (const auto& [category, log] : logs_)
            (level == LogLevel::error ? log->isErrorEnabled : log->isNoticeEnabled) = false;
    }

private:
    std::vector<std::pair<std::string, RecordingSystemLog*>> logs_; // in order of creation
};

class RecordingOutputHarness {
public:
    LogOutput& output() { return output_; }
    std::string written() {
        std::string all;
        for (const auto& write : output_.writes())
            all += write;
        return all;
    }
    double wallClock() { return output_.time; }

private:
    RecordingOutput output_;
};

INSTANTIATE_TYPED_TEST_SUITE_P(InMemory, ClamshellConformance, ScriptedClamshellHarness);
INSTANTIATE_TYPED_TEST_SUITE_P(InMemory, ClockConformance, VirtualClockHarness);
INSTANTIATE_TYPED_TEST_SUITE_P(InMemory, FileEventsConformance, ScriptedFileEventsHarness);
INSTANTIATE_TYPED_TEST_SUITE_P(InMemory, LogOutputConformance, RecordingOutputHarness);
INSTANTIATE_TYPED_TEST_SUITE_P(InMemory, SystemLogConformance, RecordingSystemLogHarness);
INSTANTIATE_TYPED_TEST_SUITE_P(InMemory, SignalsConformance, ScriptedSignalsHarness);
INSTANTIATE_TYPED_TEST_SUITE_P(InMemory, SigningInformationConformance, ScriptedSigningInformationHarness);
INSTANTIATE_TYPED_TEST_SUITE_P(InMemory, MainQueueConformance, VirtualQueueHarness);
INSTANTIATE_TYPED_TEST_SUITE_P(InMemory, TimersBehindTasks, VirtualQueueHarness);
INSTANTIATE_TYPED_TEST_SUITE_P(InMemory, SMCExchangeConformance, SimulatedExchangeHarness);
INSTANTIATE_TYPED_TEST_SUITE_P(InMemory, PowerNotificationsConformance, ScriptedPowerHarness);

} // namespace
} // namespace kelo
