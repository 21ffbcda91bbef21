#pragma once

#include <memory>
#include <optional>
#include <string>

#include "helper/HelperService.h"
#include "protocol/FanSnapshot.h"
#include "testing/MachineFixture.h"
#include "testing/RecordingLog.h"
#include "testing/ReplyProbe.h"

namespace kelo {

/// The service on the machine. The trace includes its log lines and the process's exit.
class ServiceFixture : public MachineFixture {
protected:
    ServiceFixture() {
        output.onMessage = [this](const std::string& message) { note(message); };
    }

    void makeService() { makeServiceOn(queue); }
    void makeServiceOn(MainQueue& main) {
        const HelperLog log(std::make_shared<RecordingSystemLog>(), "service", output);
        service = std::make_shared<HelperService>(ServiceDependencies{
            machineOn(main), log, [this](const char* notice) { note(notice == nullptr ? "leave" : notice); }, [] {}});
    }

    // Each function makes the request, lets the main queue run it, and checks that it gets exactly one reply.
    std::optional<Data> fetchSnapshot() {
        ReplyProbe<std::optional<Data>> probe("fetchSnapshot");
        service->perform(requests::Call{requests::FetchSnapshot{}, probe.reply()});
        queue.runReady();
        return probe.value();
    }
    FanSnapshot snapshot() { return FanSnapshot::decoded(fetchSnapshot().value()); }
    std::optional<std::string> hold(double fraction, bool handsBackOnLidClose = false) {
        ReplyProbe<std::optional<std::string>> probe("hold");
        service->perform(requests::Call{requests::Hold{fraction, handsBackOnLidClose}, probe.reply()});
        queue.runReady();
        return probe.value();
    }
    std::optional<std::string> handBack() {
        ReplyProbe<std::optional<std::string>> probe("handBack");
        service->perform(requests::Call{requests::HandBack{}, probe.reply()});
        queue.runReady();
        return probe.value();
    }
    std::int64_t helperVersion() {
        ReplyProbe<std::int64_t> probe("helperVersion");
        service->perform(requests::Call{requests::HelperVersion{}, probe.reply()});
        return probe.value();
    }
    /// The trace includes the reply.
    void standDown() {
        ReplyProbe<requests::Nothing> probe("standDown");
        probe.onAnswer([this] { note("reply"); });
        service->perform(requests::Call{requests::StandDown{}, probe.reply()});
        EXPECT_TRUE(probe.isAnswered());
    }

    void arrive() {
        service->clientArrived();
        queue.runReady();
    }
    void leave() {
        service->clientWentAway();
        queue.runReady();
    }

    RecordingOutput output;
    std::shared_ptr<HelperService> service;
};

} // namespace kelo
