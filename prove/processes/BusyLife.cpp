#include "prove/processes/BusyLife.h"

#include <chrono>
#include <csignal>
#include <thread>

#include "platform/posix/Hex.h"

namespace kelo {

using namespace hardware_calls;

void BusyClient::request(const requests::Any& request) {
    process_->writeInput("send " + hexOf(request_records::encode(++number_, request)) + "\nreceive\n");
}

void BusyClient::kill() {
    process_->signal(SIGKILL);
    process_->waitForEnd(10);
}

BusyLife::BusyLife(StagedMac& mac, std::mt19937& random) : mac_(mac), random_(random) {
    for (auto& client : clients_) {
        client = std::make_unique<BusyClient>(mac.installation());
        client->connect();
    }
    clients_[0]->request(requests::Hold{fraction(), false});
}

void BusyLife::step() {
    if (below(3) == 0)
        useMac();
    else
        useClient();
    std::this_thread::sleep_for(std::chrono::milliseconds(below(150)));
}

void BusyLife::useClient() {
    auto& client = clients_.at(static_cast<std::size_t>(below(3)));
    switch (below(10)) {
    case 0:
    case 1:
    case 2:
    case 3:
        return client->request(requests::Hold{fraction(), below(2) == 0});
    case 4:
        return client->request(requests::HandBack{});
    case 5:
        client->close();
        return client->connect();
    case 6:
        client->kill();
        client = std::make_unique<BusyClient>(mac_.installation());
        return client->connect();
    default:
        return client->request(requests::FetchSnapshot{});
    }
}

/// Ignores calls that the Mac refuses, such as waking while it is awake.
void BusyLife::useMac() try {
    switch (below(8)) {
    case 0:
        mac_.call(SetLid{true});
        break;
    case 1:
    case 2:
        mac_.call(SetLid{false});
        break;
    case 3:
        mac_.call(Sleep{.now = below(2) == 0});
        break;
    case 4:
        mac_.call(Wake{});
        break;
    case 5:
        mac_.call(Interfere{0, 2000 + 1000 * fraction()});
        break;
    case 6:
        mac_.call(Interfere{0, {}});
        break;
    default:
        mac_.call(SetKey{"Tp09", 60 + 45 * fraction()});
    }
} catch (const CallRefused&) {
}

/// Ends the interference before it kills the clients: without a hold, no process would hand back fans that another
/// program has taken.
void BusyLife::end() {
    for (const auto& fan : mac_.call(Show{}).fans)
        mac_.call(Interfere{fan.index, {}});
    std::this_thread::sleep_for(std::chrono::milliseconds(2500)); // longer than a tick
    for (auto& client : clients_)
        client->kill();
}

} // namespace kelo
