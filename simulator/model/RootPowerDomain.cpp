#include "simulator/model/RootPowerDomain.h"

#include <utility>

#include "core/queue/MainQueue.h"

namespace kelo {

RootPowerDomain::RootPowerDomain(MainQueue& queue, std::function<double()> now) : queue_(queue), now_(std::move(now)) {}

RootPowerDomain::~RootPowerDomain() = default;

int RootPowerDomain::addClient(Send send) {
    clients_[nextClient_] = std::move(send);
    return nextClient_++;
}

void RootPowerDomain::removeClient(int client) {
    clients_.erase(client);
    awaited_.erase(client);
    endRoundIfComplete();
}

void RootPowerDomain::acknowledge(int client, std::int64_t notificationID) {
    if (notificationID != notificationID_ || awaited_.erase(client) == 0)
        return; // the acknowledgement is late or a duplicate
    ++acknowledged_;
    endRoundIfComplete();
}

bool RootPowerDomain::sleep(Cause cause, std::function<void(const SleepReport&)> onAsleep) {
    if (state_ != State::awake)
        return false;
    onAsleep_ = std::move(onAsleep);
    const bool asks = cause == Cause::idleness;
    state_ = asks ? State::asking : State::announcing;
    startRound(asks ? Announcement::canSystemSleep : Announcement::systemWillSleep);
    return true;
}

bool RootPowerDomain::wake() {
    if (state_ != State::asleep)
        return false;
    state_ = State::awake;
    announce(Announcement::systemWillPowerOn);
    announce(Announcement::systemHasPoweredOn);
    return true;
}

void RootPowerDomain::startRound(Announcement announcement) {
    roundStart_ = now_();
    acknowledged_ = 0;
    awaited_.clear();
    for (const auto& [client, send] : clients_)
        awaited_.insert(client);
    timeout_ = queue_.scheduleTimer(acknowledgementTimeout, false, [this] { endRound(); });
    announce(announcement);
    endRoundIfComplete();
}

void RootPowerDomain::announce(Announcement announcement) {
    const auto notificationID = ++notificationID_;
    const auto clients = clients_; // a copy, since `send` may remove clients
    for (const auto& [client, send] : clients)
        send(announcement, notificationID);
}

void RootPowerDomain::endRoundIfComplete() {
    const bool isRound = state_ == State::asking || state_ == State::announcing;
    if (isRound && awaited_.empty() && timeout_)
        endRound();
}

void RootPowerDomain::endRound() {
    timeout_.reset();
    if (state_ == State::asking) {
        state_ = State::announcing;
        return startRound(Announcement::systemWillSleep);
    }
    state_ = State::asleep;
    const SleepReport report{now_() - roundStart_, acknowledged_, static_cast<int>(awaited_.size())};
    awaited_.clear();
    std::exchange(onAsleep_, nullptr)(report);
}

} // namespace kelo
