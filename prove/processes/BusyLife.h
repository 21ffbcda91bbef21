#pragma once

#include <array>
#include <memory>
#include <random>

#include "platform/linux/socket/RequestRecords.h"
#include "prove/processes/StagedMac.h"

namespace kelo {

/// A client process that is told what to do and not waited for: it does one thing after the other.
class BusyClient {
public:
    explicit BusyClient(Installation& installation) : process_(installation.start("rawclient", {})) {}

    void connect() { process_->writeInput("connect\n"); }
    /// Makes a request, and has the process wait for the reply.
    void request(const requests::Any& request);
    void close() { process_->writeInput("close\n"); }
    /// Without any farewell.
    void kill();

private:
    std::unique_ptr<ChildProcess> process_;
    std::uint64_t number_ = 0;
};

/// Whatever may happen to a helper while it runs, at random: clients that hold, release, look, come, leave and are
/// killed; other programs that take fans; the lid, sleep and wake, heat.
class BusyLife {
public:
    BusyLife(StagedMac& mac, std::mt19937& random);

    /// Does one thing and waits a moment.
    void step();
    /// Takes from other programs what they have of the fans, waits until the helper has again what it holds, and kills
    /// every client.
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
