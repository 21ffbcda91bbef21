#pragma once

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "helper/Platform.h"
#include "helper/Signals.h"
#include "protocol/SigningInformation.h"
#include "simulator/model/SimulatedExchange.h"
#include "tests/support/RecordingLog.h"
#include "tests/support/ScriptedClamshell.h"
#include "tests/support/ScriptedFileEvents.h"
#include "tests/support/ScriptedListener.h"
#include "tests/support/ScriptedPower.h"
#include "tests/support/VirtualFanSystem.h"
#include "tests/support/VirtualQueue.h"

namespace kelo {

/// Signals that are sent by hand.
class ScriptedSignals : public Signals {
public:
    /// Called with each step: "ignore 15", "deliver 15".
    std::function<void(const std::string&)> onStep = [](const std::string&) {};

    void ignore(int signal) override { onStep("ignore " + std::to_string(signal)); }
    [[nodiscard]] std::unique_ptr<SignalSource> deliver(int signal, std::function<void()> onSignal) override {
        onStep("deliver " + std::to_string(signal));
        handlers_[signal] = std::move(onSignal);
        return std::make_unique<Source>(*this, signal);
    }

    /// Delivers a signal, if there still is a source for it. Returns whether there is.
    bool send(int signal) {
        const auto found = handlers_.find(signal);
        if (found == handlers_.end())
            return false;
        found->second();
        return true;
    }

private:
    class Source : public SignalSource {
    public:
        Source(ScriptedSignals& signals, int signal) : signals_(signals), signal_(signal) {}
        ~Source() override { signals_.handlers_.erase(signal_); }

    private:
        ScriptedSignals& signals_;
        int signal_;
    };

    std::map<int, std::function<void()>> handlers_;
};

class ScriptedSigningInformation : public SigningInformation {
public:
    std::optional<std::string> team = "ABCDE12345";
    std::function<void()> onQuery = [] {};

    std::optional<std::string> teamIdentifier() override {
        onQuery();
        return team;
    }
};

/// A whole platform in memory, on parts that the test owns.
class ScriptedPlatform : public Platform {
public:
    ScriptedPlatform(VirtualQueue& queue, SimulatedExchange& exchange, VirtualFanSystem& fanSystem,
                     ScriptedPower& power, ScriptedClamshell& clamshell)
        : queue_(queue), exchange_(exchange), fanSystem_(fanSystem), power_(power), clamshell_(clamshell) {}

    ScriptedFileEvents files;
    ScriptedSignals stopSignals;
    ScriptedSigningInformation signing;
    RecordingOutput output;
    /// Made by the process; null before.
    ScriptedListener* listener = nullptr;
    std::vector<std::string> logCategories;
    /// Called with each step of the platform and its parts.
    std::function<void(const std::string&)> onStep = [](const std::string&) {};

    MainQueue& mainQueue() override { return queue_; }
    SMCExchange& smcExchange() override { return exchange_; }
    FanSystem& fanSystem() override { return fanSystem_; }
    PowerNotifications& powerNotifications() override { return power_; }
    Clamshell& clamshell() override { return clamshell_; }
    FileEvents& fileEvents() override { return files; }
    Signals& signals() override { return stopSignals; }
    SigningInformation& signingInformation() override { return signing; }

    std::unique_ptr<SystemLog> makeSystemLog(const std::string& subsystem, const std::string& category) override {
        logCategories.push_back(subsystem + "/" + category);
        return std::make_unique<RecordingSystemLog>();
    }
    std::unique_ptr<Listener> makeListener(const std::string& machServiceName) override {
        onStep("listener for " + machServiceName);
        auto made = std::make_unique<ScriptedListener>();
        made->onStep = [this](const std::string& step) { onStep("listener: " + step); };
        listener = made.get();
        return made;
    }

    double wallClock() override { return output.wallClock(); }
    void writeStandardError(const std::string& bytes) override { output.writeStandardError(bytes); }
    void runMainLoop() override { onStep("run"); }
    void exit(int status) override { onStep("exit " + std::to_string(status)); }

private:
    VirtualQueue& queue_;
    SimulatedExchange& exchange_;
    VirtualFanSystem& fanSystem_;
    ScriptedPower& power_;
    ScriptedClamshell& clamshell_;
};

} // namespace kelo
