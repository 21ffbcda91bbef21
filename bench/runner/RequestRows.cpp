#include <chrono>
#include <fcntl.h>

#include "bench/runner/ProcessFacts.h"
#include "bench/runner/Rows.h"
#include "platform/linux/signing/CodeSignature.h"
#include "platform/linux/signing/TrustAnchor.h"

namespace kelo::bench {
namespace {

constexpr const char* limitSocket = "limit.socket";
constexpr std::size_t versionReplySize = 19;
constexpr std::size_t snapshotReplySize = 280;

/// Measures the helper and the limit in turn, so that both have their share of what else the machine does.
void compareRoundTrips(const Scene& scene, Figures& figures, const std::string& request, std::size_t replySize,
                       bool readsTheMac, int count) {
    const auto limit = scene.startResponder(limitSocket, replySize, readsTheMac);
    std::vector<double> p50;
    std::vector<double> p99;
    std::vector<double> limitP50;
    std::vector<double> limitP99;
    for (int round = 0; round < scene.count(11, 3); ++round) {
        const auto helper = scene.ask(Scene::serviceSocket, {request, std::to_string(count)});
        p50.push_back(helper["p50"]);
        p99.push_back(helper["p99"]);
        const auto bare = scene.ask(limitSocket, {request, std::to_string(count)});
        limitP50.push_back(bare["p50"]);
        limitP99.push_back(bare["p99"]);
    }
    figures.compare("requests." + request + ".p50", median(p50) / 1000, median(limitP50) / 1000, "us", 1.5);
    figures.compare("requests." + request + ".p99", median(p99) / 1000, median(limitP99) / 1000, "us", 1.5);
}

} // namespace

void measureRequests(const Scene& scene, Figures& figures) {
    const auto world = scene.startHelper();
    compareRoundTrips(scene, figures, "version", versionReplySize, false, scene.count(10'000, 2'000));
    compareRoundTrips(scene, figures, "snapshot", snapshotReplySize, true, scene.count(2'000, 300));
}

void measureConnecting(const Scene& scene, Figures& figures) {
    const auto world = scene.startHelper();
    const auto times = scene.ask(Scene::serviceSocket, {"connect", std::to_string(scene.count(2'000, 200))});
    figures.add("connecting.p50", times["p50"].get<double>() / 1000, "us");
    figures.add("connecting.p99", times["p99"].get<double>() / 1000, "us");
    const auto anchor = TrustAnchor::load(scene.macFolder() + "/anchor.pub");
    std::vector<double> signature;
    for (int i = 0; i < scene.count(300, 50); ++i) {
        const auto start = std::chrono::steady_clock::now();
        const FileDescriptor client(open((world->program("bench_client")).c_str(), O_RDONLY | O_CLOEXEC));
        if (!verifyCodeSignature(client.get(), anchor).identity)
            throw std::runtime_error("the client is not signed");
        signature.push_back(
            std::chrono::duration<double, std::micro>(std::chrono::steady_clock::now() - start).count());
    }
    figures.add("connecting.signature.p50", median(signature), "us");
    figures.add("connecting.client-size", static_cast<double>(file_size(world->program("bench_client"))) / 1024, "KiB");
}

} // namespace kelo::bench
