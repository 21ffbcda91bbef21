#include "bench/runner/Scene.h"

#include <fcntl.h>

#include <algorithm>
#include <stdexcept>

namespace kelo::bench {
namespace {

double quantile(std::vector<double> values, double share) {
    std::sort(values.begin(), values.end());
    return values.at(static_cast<std::size_t>(share * static_cast<double>(values.size() - 1)));
}

} // namespace

double median(std::vector<double> values) { return quantile(std::move(values), 0.5); }
double percentile99(std::vector<double> values) { return quantile(std::move(values), 0.99); }

std::unique_ptr<Installation> Scene::startMac() const {
    auto world = std::make_unique<Installation>(installation_);
    world->startMac();
    return world;
}

std::unique_ptr<Installation> Scene::startHelper() const {
    auto world = startMac();
    world->startListeningHelper();
    return world;
}

nlohmann::json Scene::ask(const std::string& socket, const std::vector<std::string>& question) const {
    PipedProcess client(clientCommand(socket, question));
    const auto answer = client.readOutput();
    const auto errors = client.readError();
    if (client.wait() != 0)
        throw std::runtime_error(errors);
    return nlohmann::json::parse(answer);
}

std::unique_ptr<PipedProcess> Scene::startClient(const std::vector<std::string>& what) const {
    auto process = std::make_unique<PipedProcess>(clientCommand(serviceSocket, what));
    if (process->readLine() != "staying")
        throw std::runtime_error(process->readError());
    return process;
}

std::unique_ptr<PipedProcess> Scene::startResponder(const std::string& socket, std::size_t replySize,
                                                    bool readsTheMac) const {
    std::vector<std::string> command = {program("bench_responder"), installation_, socket, std::to_string(replySize)};
    if (readsTheMac)
        command.push_back(macFolder());
    auto process = std::make_unique<PipedProcess>(command);
    if (process->readLine() != "listening")
        throw std::runtime_error("the bare responder does not come up");
    return process;
}

FileDescriptor Scene::openMacFolder() const {
    return FileDescriptor(open(macFolder().c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
}

std::unique_ptr<HardwareLink> Scene::linkToMac() const {
    auto link = HardwareLink::connect(openMacFolder().get());
    if (!link)
        throw std::runtime_error("there is no simulated Mac");
    return link;
}

std::vector<std::string> Scene::clientCommand(const std::string& socket, const std::vector<std::string>& what) const {
    std::vector<std::string> command = {installation_ / "bench_client", installation_, socket};
    command.insert(command.end(), what.begin(), what.end());
    return command;
}

} // namespace kelo::bench
