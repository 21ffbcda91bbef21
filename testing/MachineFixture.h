#pragma once

#include <gmock/gmock.h>

#include <cmath>
#include <cstring>
#include <string>
#include <utility>
#include <vector>

#include "core/hold/FanHoldEvent.h"
#include "core/hold/FanMath.h"
#include "core/hold/MachineParts.h"
#include "testing/FanFixture.h"
#include "testing/ScriptedClamshell.h"
#include "testing/ScriptedPower.h"
#include "testing/VirtualQueue.h"

namespace kelo {

using Trace = std::vector<std::string>;

inline Trace operator+(Trace first, const Trace& second) {
    first.insert(first.end(), second.begin(), second.end());
    return first;
}

/// A two-fan laptop with its lid and its power domain, in virtual time, and one trace of all accesses to it.
///
/// The trace contains, in order:
/// - reads and writes of keys ("Tp09?", "F0Md=1", "F0Tg=3600.0")
/// - queries of the lid ("lid?")
/// - acknowledgements of sleep ("allow 7")
/// - notes of the test
class MachineFixture : public FanFixture {
protected:
    MachineFixture() {
        clamshell.onQuery = [this] { note("lid?"); };
        power.onAllow = [this](std::intptr_t id) { note("allow " + std::to_string(id)); };
        controller.setNumber("Tp09", 45);
        controller.clearLog();
    }

    /// Appends a note to the trace.
    void note(const std::string& entry) {
        drainLog();
        trace_.push_back(entry);
    }

    /// Returns the entries since the last call.
    Trace takeTrace() {
        drainLog();
        return std::exchange(trace_, {});
    }
    /// Like `takeTrace`, but returns only notes, acknowledgements and writes.
    Trace takeEffects() {
        auto effects = takeTrace();
        std::erase_if(effects, [](const std::string& entry) { return entry.find('?') != std::string::npos; });
        return effects;
    }
    /// The lines of the helper's log.
    Trace takeLogs() {
        auto logs = takeTrace();
        std::erase_if(logs, [](const std::string& entry) { return entry.front() != '['; });
        return logs;
    }
    Trace takeEvents() {
        auto events = takeEffects();
        std::erase_if(events, [](const std::string& entry) { return entry.find('=') != std::string::npos; });
        return events;
    }

    void setChip(double celsius) { controller.setNumber("Tp09", celsius); }
    bool isManual(int fan) { return controller.number("F" + std::to_string(fan) + "Md") != 0; }
    bool isAnyManual() { return isManual(0) || isManual(1); }

    MachineParts machineOn(MainQueue& main) { return {main, exchange, clock, rights, power, clamshell}; }

    // Parts of expected traces.
    static constexpr auto canSleep = PowerMessage::canSystemSleep;
    static constexpr auto willSleep = PowerMessage::systemWillSleep;
    static constexpr auto hasPoweredOn = PowerMessage::systemHasPoweredOn;

    static Trace readFans() {
        return {"F0Ac?", "F0Mn?", "F0Mx?", "F0Md?", "F0Tg?", "F1Ac?", "F1Mn?", "F1Mx?", "F1Md?", "F1Tg?"};
    }
    /// The target speed for `fraction` of a fan with range `min`...`max`, as the text of a float.
    static std::string speed(double min, double max, double fraction) {
        return shortestText(static_cast<double>(static_cast<float>(FanMath::target(min, max, fraction))));
    }
    /// The writes that take both fans to `fraction`.
    static Trace takeFans(double fraction) {
        return {"F0Md=1", "F0Tg=" + speed(1200, 6000, fraction), "F1Md=1", "F1Tg=" + speed(1200, 5500, fraction)};
    }
    /// The writes that take both fans to `fraction`, and the reads of the ranges to which their targets are clamped.
    static Trace takeFansWithReads(double fraction) {
        const auto writes = takeFans(fraction);
        return {writes[0], "F0Mn?", "F0Mx?", writes[1], writes[2], "F1Mn?", "F1Mx?", writes[3]};
    }
    static Trace restoreFans() { return {"F0Md=0", "F1Md=0", "Ftst=0"}; }

    ScriptedPower power;
    ScriptedClamshell clamshell;
    VirtualQueue queue{now};
    const MachineParts machine = machineOn(queue);

private:
    void drainLog() {
        for (const auto& record : controller.log())
            if (const auto entry = entryOf(record); !entry.empty())
                trace_.push_back(entry);
        controller.clearLog();
    }

    /// Returns the trace entry of a read or write; empty for the key-info exchange that precedes each of them.
    std::string entryOf(const ExchangeRecord& record) {
        const auto key = record.key();
        std::string entry;
        if (record.request.data8 == static_cast<std::uint8_t>(SMCCommand::readBytes))
            entry = key + "?";
        else if (record.request.data8 == static_cast<std::uint8_t>(SMCCommand::writeBytes))
            entry = key + "=" + valueOf(key, record.request);
        else
            return {};
        return record.reply && record.reply->result == 0 ? entry : entry + " refused";
    }

    std::string valueOf(const std::string& key, const SMCKeyData& request) {
        if (controller.key(key).type != smc_type::flt)
            return std::to_string(request.bytes[0]);
        float value = 0;
        std::memcpy(&value, request.bytes, sizeof value);
        return shortestText(static_cast<double>(value));
    }

    Trace trace_;
};

} // namespace kelo
