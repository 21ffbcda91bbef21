#include "prove/life/ReferenceSide.h"

#include <cmath>
#include <cstring>
#include <utility>

#include "core/hold/FanHoldEvent.h"
#include "protocol/FanSnapshot.h"

namespace kelo {
namespace {

/// As it would travel.
std::string textOf(const std::optional<reference::Snapshot>& snapshot) {
    if (!snapshot)
        return "none";
    const FanSnapshot record{snapshot->fanCount,  snapshot->currentRPM,       snapshot->minRPM, snapshot->maxRPM,
                             snapshot->targetRPM, snapshot->underKeloControl, snapshot->warmth, snapshot->chipCelsius,
                             snapshot->addingAir, snapshot->lidHasFan};
    const auto json = record.encoded();
    return {json.begin(), json.end()};
}

reference::LidProperty lidPropertyOf(const ClamshellProperty& state) {
    using Kind = reference::LidProperty::Kind;
    if (const auto* isClosed = std::get_if<bool>(&state))
        return {Kind::boolean, *isClosed, 0};
    if (const auto* number = std::get_if<double>(&state))
        return {Kind::number, false, *number};
    return {std::holds_alternative<std::monostate>(state) ? Kind::absent : Kind::other, false, 0};
}

std::uint32_t typeOf(PowerMessage message) {
    switch (message) {
    case PowerMessage::canSystemSleep:
        return 0xE0000270;
    case PowerMessage::systemWillSleep:
        return 0xE0000280;
    case PowerMessage::systemHasPoweredOn:
        return 0xE0000300;
    }
    return 0;
}

std::string nameOf(double seconds, bool repeats) {
    return std::string("timer ") + (repeats ? "every " : "in ") + shortestText(seconds) + " s";
}

} // namespace

class ReferenceSide::World : public reference::World {
public:
    explicit World(ReferenceSide& side) : side_(side) {}

    std::uint32_t openController() override { return side_.exchange.open(); }
    bool exchange(std::uint32_t connection, const reference::Record& in, reference::Record& out) override {
        SMCKeyData request;
        SMCKeyData reply{};
        std::memcpy(&request, in.data(), sizeof request);
        const bool isDone = side_.exchange.exchange(connection, request, reply);
        std::memcpy(out.data(), &reply, sizeof reply);
        return isDone;
    }
    void closeController(std::uint32_t connection) override { side_.exchange.close(connection); }

    std::int64_t nowNanoseconds() override { return std::llround(side_.now * 1e9); }
    void sleepMicroseconds(std::uint32_t microseconds) override {
        side_.now += static_cast<double>(microseconds) / 1e6 + 0.001; // as `OversleepingClock`
        for (const auto& happen : std::exchange(side_.meanwhile_, {}))
            happen();
    }
    bool isRoot() override { return side_.isRoot_; }
    void exit(int status) override {
        side_.record("exit " + std::to_string(status));
        side_.queue_.stop();
        side_.tape.end();
    }

    reference::LidProperty lidProperty() override {
        side_.record("lid?");
        return lidPropertyOf(side_.lid_);
    }
    bool registerForPower() override {
        side_.record(side_.isPowerPresent_ ? "register for power" : "no power domain");
        return side_.isPowerPresent_;
    }
    void allowPowerChange(std::intptr_t id) override { side_.record("allow " + std::to_string(id)); }

    std::optional<std::string> ownExecutable() override {
        side_.record("own executable?");
        return side_.executable_;
    }
    std::optional<reference::FileIdentity> identify(const std::string& path) override {
        const auto& file = side_.isAdmitting_ ? side_.fileAtArrival_ : side_.file_;
        if (path != side_.executable_ || !file)
            return std::nullopt;
        return reference::FileIdentity{file->device, file->inode};
    }
    bool watch(const std::string& path) override {
        side_.record("watch " + path);
        return side_.isFileOpenable_;
    }
    void cancelFileWatch() override {}
    reference::SigningInformation signingInformation() override {
        reference::SigningInformation information;
        information.team =
            side_.team_ ? reference::SigningInformation::Team::text : reference::SigningInformation::Team::missing;
        information.teamText = side_.team_.value_or("");
        return information;
    }

    void createListener(const std::string& serviceName) override {
        side_.record("listener for " + serviceName);
        side_.record("listener: admission");
    }
    void setRequirement(const std::string& requirement) override {
        side_.record("listener: requirement " + requirement);
    }
    void resumeListener() override { side_.record("listener: resume"); }
    void acceptConnection(reference::ConnectionId) override { side_.admission_ = "accepted"; }
    void refuseConnection(reference::ConnectionId) override { side_.admission_ = "turned away"; }

    void makeSignalSource(int number) override { side_.record("deliver " + std::to_string(number)); }

    void armTimer(reference::Timer which, double delaySeconds, bool isRepeating) override {
        if (which == reference::Timer::standDown)
            return side_.queue_.postAfter(delaySeconds, [this, which] { side_.model_.timerFired(which); });
        side_.record(nameOf(delaySeconds, isRepeating));
        side_.timers_[which] = side_.queue_.scheduleTimer(delaySeconds, isRepeating,
                                                          [this, which, isRepeating] { fire(which, isRepeating); });
    }
    void cancelTimer(reference::Timer which) override {
        side_.timers_.erase(which);
        if (which == reference::Timer::repair)
            side_.record("cancel timer every 2.0 s");
    }

    void log(const std::string& category, reference::Level level, const std::string& text) override {
        side_.record((level == reference::Level::error ? "[ERROR] " : "[NOTICE] ") + category + ": " + text);
    }
    void replyVersion(reference::RequestId request, std::int64_t version) override {
        side_.reply(request, std::to_string(version));
    }
    void replySnapshot(reference::RequestId request, const std::optional<reference::Snapshot>& snapshot) override {
        side_.reply(request, textOf(snapshot));
    }
    void replyError(reference::RequestId request, const std::optional<std::string>& text) override {
        side_.reply(request, text.value_or("none"));
    }
    void replyEmpty(reference::RequestId request) override { side_.reply(request, "done"); }

private:
    void fire(reference::Timer which, bool isRepeating) {
        if (!isRepeating)
            side_.timers_.erase(which);
        side_.model_.timerFired(which);
    }

    ReferenceSide& side_;
};

ReferenceSide::ReferenceSide() : world_(std::make_unique<World>(*this)), model_(*world_) {}

ReferenceSide::~ReferenceSide() = default;

/// The admission looks at the file at once; the main queue counts the client later.
void ReferenceSide::connect() {
    queue_.post([this, file = file_] {
        fileAtArrival_ = file;
        isAdmitting_ = true;
        admission_.clear();
        model_.connectionArrived(0);
        isAdmitting_ = false;
        if (!admission_.empty())
            record(admission_);
    });
}

void ReferenceSide::interrupt(int client) {
    queue_.post([this, client] { model_.connectionInterrupted(static_cast<reference::ConnectionId>(client)); });
}

void ReferenceSide::invalidate(int client) {
    gone_.insert(client);
    queue_.post([this, client] { model_.connectionInvalidated(static_cast<reference::ConnectionId>(client)); });
}

void ReferenceSide::snapshot(int) {
    queue_.post([this, request = addRequest("snapshot")] { model_.fetchSnapshot(0, request); });
}

void ReferenceSide::hold(int, double fraction, bool handsBackOnLidClose) {
    queue_.post([this, request = addRequest("hold"), fraction, handsBackOnLidClose] {
        model_.hold(0, request, fraction, handsBackOnLidClose);
    });
}

void ReferenceSide::handBack(int) {
    queue_.post([this, request = addRequest("handBack")] { model_.handBack(0, request); });
}

void ReferenceSide::version(int) { model_.helperVersion(0, addRequest("version")); }

void ReferenceSide::standDown(int) { model_.standDown(0, addRequest("standDown")); }

void ReferenceSide::announce(PowerMessage message) { model_.powerMessage(typeOf(message), announcements_++); }

void ReferenceSide::announceToBusy(PowerMessage message) {
    record("a power message comes while the main thread is blocked");
    queue_.postFirst([this, message] { announce(message); });
}

void ReferenceSide::setRoot(bool isRoot) {
    isRoot_ = isRoot;
    exchange.isRoot = isRoot;
}

std::size_t ReferenceSide::addRequest(const char* name) {
    requests_.emplace_back(name);
    return requests_.size() - 1;
}

void ReferenceSide::reply(std::size_t request, const std::string& text) {
    record("reply " + std::to_string(request) + ", " + requests_.at(request) + ": " + text);
}

} // namespace kelo
