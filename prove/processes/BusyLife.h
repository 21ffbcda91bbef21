#pragma once

#include <array>
#include <memory>
#include <random>

#include "platform/linux/socket/RequestRecords.h"
#include "prove/processes/StagedMac.h"

namespace kelo {

/// A client process and its queue of commands. The process executes one command after the other; callers do not wait.
class BusyClient {
public:
    explicit BusyClient(Installation& installation) : process_(installation.start("rawclient", {})) {}

    void connect() { process_->writeInput("connect\n"); }
    /// Queues a request. The process waits for the reply before the next command.
    void request(const requests::Any& request);
    void close() { process_->writeInput("close\n"); }
    void kill();

private:
    std::unique_ptr<ChildProcess> process_;
    std::uint64_t number_ = 0;
};

/// Random events for a running helper: clients that connect, hold, release, fetch snapshots, disconnect and are killed;
/// other programs that take fans; lid movements, sleep, wake and heat.
class BusyLife {
public:
    BusyLife(StagedMac& mac, std::mt19937& random);

    void step();
    /// Stops the interference by other programs, waits until the helper holds the fans again, and kills every client.
    void end();

private:
    void useClient();
    void useMac();
    double fraction() { return std::uniform_real_distribution(0.0, 1.0)(random_); }
    int below(int limit) { return std::uniform_int_distribution(0, limit - 1)(random_); }

    StagedMac& mac_;
    std::mt19937& random_;
    std::array<std::unique_ptr<BusyClient>, 3> clients_;
};

} // namespace kelo
