#include "prove/soak/Crowd.h"

#include <algorithm>

namespace kelo {

void Crowd::step() {
    auto& client = clients_.at(static_cast<std::size_t>(below(places)));
    const int choice = below(20);
    if (choice == 0)
        useMac();
    else if (!client.guard || choice < 4)
        comeOrGo(client);
    else
        ask(*client.guard);
    mac_.pass(below(200) / 100.0);
}

void Crowd::goHome() {
    mac_.clamshell.state = false;
    mac_.controller.setNumber("Tp09", 50);
    std::for_each(clients_.begin(), clients_.end(), [this](Client& client) { leave(client); });
    auto& last = clients_.front();
    comeOrGo(last);
    last.guard->perform(requests::Call{requests::Hold{0.5, true}, [](const auto&) {}});
    mac_.pass(60);
    leave(last);
    mac_.pass(60);
}

void Crowd::comeOrGo(Client& client) {
    if (client.guard)
        return leave(client);
    client.connection = mac_.listener->connect();
    client.guard = std::make_unique<GuardedHelper>(client.connection->object);
    ++arrivals;
}

void Crowd::leave(Client& client) {
    if (!client.guard)
        return;
    client.guard.reset();
    if (below(3) == 0)
        client.connection->onInterruption();
    client.connection->onInvalidation();
    mac_.pass(0); // what the end has queued still needs the connection
    client.connection.reset();
}

void Crowd::ask(GuardedHelper& helper) {
    const auto answered = [this](const auto&) { --unanswered; };
    ++requests;
    ++unanswered;
    switch (below(6)) {
    case 0:
        return helper.perform(requests::Call{requests::Hold{below(101) / 100.0, below(2) == 0}, answered});
    case 1:
        return helper.perform(requests::Call{requests::HandBack{}, answered});
    case 2:
        return helper.perform(requests::Call{requests::HelperVersion{}, answered});
    default:
        return helper.perform(requests::Call{requests::FetchSnapshot{}, answered});
    }
}

void Crowd::useMac() {
    switch (below(4)) {
    case 0:
        mac_.clamshell.state = below(2) == 0;
        return;
    case 1:
        return sleepAndWake();
    case 2:
        return interfere();
    default:
        return mac_.controller.setNumber("Tp09", 40 + below(65));
    }
}

void Crowd::sleepAndWake() {
    ++sleeps;
    mac_.power.unacknowledged += mac_.power.isRegistered() ? 2 : 0;
    mac_.power.send(PowerMessage::canSystemSleep);
    mac_.power.send(PowerMessage::systemWillSleep);
    mac_.pass(0);
    mac_.now += below(60);
    mac_.power.send(PowerMessage::systemHasPoweredOn);
}

/// What other programs do to the fans.
void Crowd::interfere() {
    if (below(2) == 0)
        mac_.controller.setNumber("F0Md", below(2));
    else
        mac_.controller.setNumber("F1Tg", 1000 + below(6000));
}

} // namespace kelo
