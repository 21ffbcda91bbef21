#pragma once

#include <optional>
#include <random>
#include <vector>

#include "prove/daemon/Daemon.h"

namespace kelo {

/// Clients that come and go at random, and a Mac that is used meanwhile. The same for the same seed.
class Crowd {
public:
    Crowd(Daemon& daemon, unsigned seed) : daemon_(daemon), random_(seed) {}

    /// One thing happens, and some time passes.
    void step();
    /// Everybody leaves, at last one who held; the lid is open, the chip cool, and the helper's grace period over.
    void goHome();

    long arrivals = 0;
    long requests = 0;
    long sleeps = 0;

private:
    static constexpr std::size_t places = 50;
    using Client = std::optional<int>; ///< Its number, while it is connected.

    int below(int limit) { return std::uniform_int_distribution(0, limit - 1)(random_); }
    void pass(double seconds);
    void comeOrGo(Client& client);
    void ask(int client);
    void useMac();
    void sleepAndWake();
    void interfere();
    void leave(Client& client);

    Daemon& daemon_;
    std::mt19937 random_;
    std::vector<Client> clients_ = std::vector<Client>(places);
};

} // namespace kelo
