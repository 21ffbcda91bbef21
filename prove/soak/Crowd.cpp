#include "prove/soak/Crowd.h"

#include <algorithm>

namespace kelo {

void Crowd::step() {
    auto& client = clients_.at(static_cast<std::size_t>(below(places)));
    const int choice = below(20);
    if (choice == 0)
        useMac();
    else if (!client || choice < 4)
        comeOrGo(client);
    else
        ask(*client);
    pass(below(200) / 100.0);
}

void Crowd::goHome() {
    daemon_.setLid(false);
    daemon_.controller.setNumber("Tp09", 50);
    std::for_each(clients_.begin(), clients_.end(), [this](Client& client) { leave(client); });
    auto& last = clients_.front();
    comeOrGo(last);
    daemon_.hold(*last, 0.5, true);
    pass(60);
    leave(last);
    pass(60);
}

/// Forgets what was recorded, which would fill the memory.
void Crowd::pass(double seconds) {
    daemon_.pass(seconds);
    daemon_.tape.clear();
    daemon_.controller.clearLog();
}

void Crowd::comeOrGo(Client& client) {
    if (client)
        return leave(client);
    daemon_.connect();
    client = daemon_.connectedClients().back();
    ++arrivals;
}

void Crowd::leave(Client& client) {
    if (!client)
        return;
    if (below(3) == 0)
        daemon_.interrupt(*client);
    daemon_.invalidate(*client);
    pass(0);
    client.reset();
}

void Crowd::ask(int client) {
    ++requests;
    switch (below(6)) {
    case 0:
        return daemon_.hold(client, below(101) / 100.0, below(2) == 0);
    case 1:
        return daemon_.handBack(client);
    case 2:
        return daemon_.version(client);
    default:
        return daemon_.snapshot(client);
    }
}

void Crowd::useMac() {
    switch (below(4)) {
    case 0:
        return daemon_.setLid(below(2) == 0);
    case 1:
        return sleepAndWake();
    case 2:
        return interfere();
    default:
        return daemon_.controller.setNumber("Tp09", 40 + below(65));
    }
}

void Crowd::sleepAndWake() {
    ++sleeps;
    daemon_.announce(PowerMessage::canSystemSleep);
    daemon_.announce(PowerMessage::systemWillSleep);
    pass(0);
    daemon_.now += below(60);
    daemon_.announce(PowerMessage::systemHasPoweredOn);
}

/// What other programs do to the fans.
void Crowd::interfere() {
    if (below(2) == 0)
        daemon_.controller.setNumber("F0Md", below(2));
    else
        daemon_.controller.setNumber("F1Tg", 1000 + below(6000));
}

} // namespace kelo
