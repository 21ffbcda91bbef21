// The client that measures the helper. It has the signature of the app, and encodes all requests before it measures, so
// that its own cost is small.
//
// usage: bench_client FOLDER SOCKET version COUNT        measures round trips over one connection
//        bench_client FOLDER SOCKET snapshot COUNT       measures round trips over one connection
//        bench_client FOLDER SOCKET connect COUNT        measures connecting, admission and the first reply
//        bench_client FOLDER SOCKET poll CLIENTS COUNT   measures round trips over CLIENTS connections in turn
//        bench_client FOLDER SOCKET stay CLIENTS         keeps CLIENTS connections open after a reply to each
//        bench_client FOLDER SOCKET hold 1               holds the fans
//
// Measurements are printed as one line of JSON, in nanoseconds. The last two commands print "staying" when they are
// ready, and then wait until standard input ends.

#include <fcntl.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <stdexcept>
#include <string>
#include <vector>

#include "platform/linux/socket/RequestRecords.h"
#include "platform/linux/socket/UnixSocket.h"

namespace kelo::bench {
namespace {

using Clock = std::chrono::steady_clock;
using Durations = std::vector<double>;
using Record = std::array<std::uint8_t, request_records::requestSize>;
using Requests = std::vector<Record>;

/// Encodes requests with numbers from 1.
Requests makeRequests(const requests::Any& request, std::size_t count) {
    Requests made;
    for (std::size_t number = 1; number <= count; ++number)
        made.push_back(request_records::encode(number, request));
    return made;
}

class Client {
public:
    Client(int folder, const std::string& name) : socket_(unix_socket::connect(folder, name)) {
        if (!socket_.isValid())
            throw std::runtime_error("no process listens at " + name);
    }

    void roundTrip(const Record& request) const {
        std::array<std::uint8_t, 8192> buffer;
        if (unix_socket::send(socket_.get(), request) != unix_socket::Sent::whole ||
            !std::holds_alternative<unix_socket::Bytes>(unix_socket::receive(socket_.get(), buffer)))
            throw std::runtime_error("there is no reply");
    }

private:
    FileDescriptor socket_;
};

template <typename Work>
double nanosecondsOf(const Work& work) {
    const auto start = Clock::now();
    work();
    return std::chrono::duration<double, std::nano>(Clock::now() - start).count();
}

void print(Durations durations) {
    double sum = 0;
    for (const double duration : durations)
        sum += duration;
    std::sort(durations.begin(), durations.end());
    const auto quantile = [&](double share) {
        return durations[static_cast<std::size_t>(share * static_cast<double>(durations.size() - 1))];
    };
    std::printf("{\"p50\": %.0f, \"p99\": %.0f, \"mean\": %.0f}\n", quantile(0.5), quantile(0.99),
                sum / static_cast<double>(durations.size()));
    std::fflush(stdout);
}

/// The number of initial requests that are not measured, since caches are cold and memory has not been allocated yet.
constexpr std::size_t warmUp = 100;

/// Measures `count` round trips, over `clientCount` connections in turn.
Durations roundTrips(int folder, const std::string& socket, const requests::Any& request, std::size_t clientCount,
                     std::size_t count) {
    std::vector<Client> clients;
    for (std::size_t i = 0; i < clientCount; ++i)
        clients.emplace_back(folder, socket);
    const auto numbered =
        makeRequests(request, warmUp + count); // the request numbers on a connection must increase, but may have gaps
    Durations durations;
    for (std::size_t i = 0; i < numbered.size(); ++i) {
        const double duration = nanosecondsOf([&] { clients[i % clientCount].roundTrip(numbered[i]); });
        if (i >= warmUp)
            durations.push_back(duration);
    }
    return durations;
}

Durations connections(int folder, const std::string& socket, std::size_t count) {
    const auto request = makeRequests(requests::HelperVersion{}, 1).front();
    Durations durations;
    for (std::size_t i = 0; i < count; ++i)
        durations.push_back(nanosecondsOf([&] { Client(folder, socket).roundTrip(request); }));
    return durations;
}

void stay(int folder, const std::string& socket, const Record& request, std::size_t clientCount) {
    std::vector<Client> clients;
    for (std::size_t i = 0; i < clientCount; ++i) {
        clients.emplace_back(folder, socket);
        clients.back().roundTrip(request);
    }
    std::puts("staying");
    std::fflush(stdout);
    char end = 0;
    static_cast<void>(read(STDIN_FILENO, &end, 1) == 0);
}

void measure(const std::vector<std::string>& arguments) {
    const FileDescriptor folder(open(arguments.at(0).c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
    const auto& socket = arguments.at(1);
    const auto& what = arguments.at(2);
    const std::size_t count = std::stoul(arguments.at(3));
    if (what == "version")
        print(roundTrips(folder.get(), socket, requests::HelperVersion{}, 1, count));
    else if (what == "snapshot")
        print(roundTrips(folder.get(), socket, requests::FetchSnapshot{}, 1, count));
    else if (what == "connect")
        print(connections(folder.get(), socket, count));
    else if (what == "poll")
        print(roundTrips(folder.get(), socket, requests::HelperVersion{}, count, std::stoul(arguments.at(4))));
    else if (what == "stay")
        stay(folder.get(), socket, request_records::encode(1, requests::HelperVersion{}), count);
    else if (what == "hold")
        stay(folder.get(), socket, request_records::encode(1, requests::Hold{0.5, false}), 1);
    else
        throw std::invalid_argument("unknown measurement");
}

/// Allows as many descriptors as possible, since each client needs one.
void raiseDescriptorLimit() {
    rlimit limit{};
    if (getrlimit(RLIMIT_NOFILE, &limit) == 0) {
        limit.rlim_cur = limit.rlim_max;
        setrlimit(RLIMIT_NOFILE, &limit);
    }
}

} // namespace
} // namespace kelo::bench

int main(int argc, char** argv) {
    try {
        kelo::bench::raiseDescriptorLimit();
        kelo::bench::measure({argv + 1, argv + argc});
        return 0;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "bench_client: %s\n", error.what());
        return 1;
    }
}
