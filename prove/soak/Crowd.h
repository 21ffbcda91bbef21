#pragma once

#include <memory>
#include <random>
#include <vector>

#include "platform/posix/GuardedHelper.h"
#include "prove/soak/QuietMac.h"

namespace kelo {

/// Clients that come and go at random, and a Mac that is used meanwhile. The same for the same seed.
class Crowd {
public:
    Crowd(QuietMac& mac, unsigned seed) : mac_(mac), random_(seed) {}

    /// One thing happens, and some time passes.
    void step();
    /// Everybody leaves, at last one who held; the lid is open, the chip cool, and the helper's grace period over.
    void goHome();

    long arrivals = 0;
    long requests = 0;
    long unanswered = 0; ///< Requests without a reply.
    long sleeps = 0;

private:
    static constexpr std::size_t places = 50;

    struct Client {
        std::unique_ptr<ScriptedConnection> connection;
        std::unique_ptr<GuardedHelper> guard;
    };

    int below(int limit) { return std::uniform_int_distribution(0, limit - 1)(random_); }
    void comeOrGo(Client& client);
    void ask(GuardedHelper& helper);
    void useMac();
    void sleepAndWake();
    void interfere();
    void leave(Client& client);

    QuietMac& mac_;
    std::mt19937 random_;
    std::vector<Client> clients_ = std::vector<Client>(places);
};

} // namespace kelo
