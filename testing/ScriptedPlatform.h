#pragma once

#include <map>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "helper/Platform.h"
#include "helper/Signals.h"
#include "testing/CodeOf.h"
#include "testing/RecordingLog.h"
#include "testing/ScriptedFileEvents.h"
#include "testing/ScriptedListener.h"
#include "testing/ScriptedSigningInformation.h"

namespace kelo {

/// Signals that a test sends.
class ScriptedSignals : public Signals {
public:
    bool canDeliver = true; ///< Whether the system has a source available.
    /// Whether a source receives its signal from the start; otherwise only after `becomeReady`.
    bool isReadyAtOnce = true;
    /// Called with each step: "deliver 15".
    std::function<void(const std::string&)> onStep = [](const std::string&) {};

    [[nodiscard]] std::unique_ptr<SignalSource> deliver(int signal, std::function<void()> onSignal) override {
        onStep("deliver " + std::to_string(signal));
        if (!canDeliver)
            return nullptr;
        handlers_[signal] = std::move(onSignal);
        return std::make_unique<Source>(*this, signal);
    }

    /// Delivers a signal if there is a source for it. Returns whether there is one.
    bool send(int signal) {
        const auto found = handlers_.find(signal);
        if (found == handlers_.end())
            return false;
        const auto onSignal = found->second; // the handler may destroy its source
        const CodeOf daemon(CodeOf::Owner::daemon);
        onSignal();
        return true;
    }

    /// Makes the next source ready. Returns false if all sources are ready.
    bool becomeReady() {
        if (unready_.empty())
            return false;
        unready_.extract(unready_.begin()).mapped()();
        return true;
    }

private:
    class Source : public SignalSource {
    public:
        Source(ScriptedSignals& signals, int signal) : signals_(signals), signal_(signal) {}
        ~Source() override { signals_.handlers_.erase(signal_); }

        void whenReady(const std::function<void()>& then) override {
            if (signals_.isReadyAtOnce)
                SignalSource::whenReady(then);
            else
                signals_.unready_[signal_] = then;
        }

    private:
        ScriptedSignals& signals_;
        int signal_;
    };

    std::map<int, std::function<void()>> handlers_;
    std::map<int, std::function<void()>> unready_;
};

/// A platform in memory, on machine parts that the test owns.
class ScriptedPlatform {
public:
    explicit ScriptedPlatform(const MachineParts& machine) : machine_(machine) {}

    ScriptedFileEvents files;
    ScriptedSignals stopSignals;
    ScriptedSigningInformation signing;
    RecordingOutput output;
    /// Whether the listener can listen when it is resumed.
    bool canListen = true;
    /// Whether creating a listener throws.
    bool isListenerMissing = false;
    /// The category whose system log cannot be created; empty if every system log can be created.
    std::string missingLog;
    /// Whether writing to a system log throws.
    bool isLogThrowing = false;
    /// Null until the helper has created it.
    ScriptedListener* listener = nullptr;
    std::vector<std::string> logCategories;
    /// Called with each step of the platform and its parts.
    std::function<void(const std::string&)> onStep = [](const std::string&) {};

    /// The platform as the helper sees it. Valid as long as this object exists.
    const Platform& platform() const { return platform_; }

private:
    std::unique_ptr<SystemLog> makeSystemLog(const std::string& subsystem, const std::string& category) {
        if (category == missingLog)
            throw std::runtime_error("there is no room");
        logCategories.push_back(subsystem + "/" + category);
        return std::make_unique<ThrowingOrRecordingLog>(isLogThrowing);
    }
    std::unique_ptr<Listener> makeListener(const std::string& machServiceName) {
        onStep("listener for " + machServiceName);
        if (isListenerMissing)
            throw std::runtime_error("there is no room");
        auto made = std::make_unique<ScriptedListener>();
        made->canListen = canListen;
        made->onStep = [this](const std::string& step) { onStep("listener: " + step); };
        listener = made.get();
        return made;
    }

    class ThrowingOrRecordingLog : public RecordingSystemLog {
    public:
        explicit ThrowingOrRecordingLog(const bool& isThrowing) : isThrowing_(isThrowing) {}
        void write(LogLevel level, const std::string& message) override {
            if (isThrowing_)
                throw std::runtime_error("the log is broken");
            RecordingSystemLog::write(level, message);
        }

    private:
        const bool& isThrowing_;
    };

    const MachineParts machine_;
    const Platform platform_{
        .machine = machine_,
        .files = files,
        .signals = stopSignals,
        .signing = signing,
        .logOutput = output,
        .makeSystemLog = [this](const std::string& subsystem,
                                const std::string& category) { return makeSystemLog(subsystem, category); },
        .makeListener = [this](const std::string& machServiceName) { return makeListener(machServiceName); },
        .runMainLoop = [this] { onStep("run"); },
        .exit = [this](int status) { onStep("exit " + std::to_string(status)); },
    };
};

} // namespace kelo
