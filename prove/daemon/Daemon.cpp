#include "prove/daemon/Daemon.h"

#include <algorithm>
#include <utility>

#include "helper/HelperProcess.h"
#include "platform/posix/Containment.h"

namespace kelo {
namespace {

Daemon* running = nullptr; ///< The newest daemon, whose faults are counted.

} // namespace

// Replaces the platform's function: records the fault instead of logging it.
void reportFault(const char* what, const char* why) noexcept {
    if (running == nullptr)
        return;
    const CodeOf test(CodeOf::Owner::test);
    ++running->reportedFaults_;
    running->record(std::string("fault reported: ") + what + ": " + why);
}

std::shared_ptr<void> Daemon::startHelper(const Platform& platform) {
    auto process = std::make_shared<HelperProcess>(platform);
    process->start();
    return process;
}

Daemon::Daemon(Start start) : start_(std::move(start)) {
    platform.onStep = [this](const std::string& step) {
        const CodeOf test(CodeOf::Owner::test);
        record(step);
        if (step.starts_with("exit "))
            exit(step);
    };
    platform.stopSignals.onStep = platform.files.onStep = platform.onStep;
    platform.output.onMessage = [this](const std::string& message) { record(message); };
    queue.onStep = [this](const std::string& step) { record(step); };
    power.onRegister = [this] { record(power.isPresent ? "register for power" : "no power domain"); };
    clamshell.onQuery = [this] { record("lid?"); };
    power.onAllow = [this](std::intptr_t id) {
        record("allow " + std::to_string(id));
        ++acknowledgements_.at(static_cast<std::size_t>(id));
    };
    running = this;
}

Daemon::~Daemon() {
    if (running == this)
        running = nullptr;
    tape.end();
}

void Daemon::record(const std::string& event) {
    const CodeOf test(CodeOf::Owner::test);
    tape.add({now, event});
}

void Daemon::start() {
    const CodeOf daemon(CodeOf::Owner::daemon);
    try {
        process_ = start_(platform.platform());
    } catch (const std::bad_alloc&) { // main() handles it in the same way
        platform.onStep("exit 0");
    }
}

void Daemon::exit(const std::string& step) {
    exitStatus = exitStatus.value_or(0) | std::stoi(step.substr(5));
    queue.stop();
    tape.end();
}

void Daemon::connect() {
    if (platform.listener == nullptr || !platform.listener->isResumed)
        return;
    std::unique_ptr<ScriptedConnection> connection;
    contain("a connection", [&] { connection = platform.listener->connect(); });
    queue.post([this, isAccepted = connection != nullptr] { record(isAccepted ? "accepted" : "turned away"); });
    if (!connection)
        return;
    auto guarded = std::make_unique<GuardedHelper>(connection->object);
    clients_.push_back({std::move(connection), std::move(guarded)});
}

std::vector<int> Daemon::connectedClients() const {
    std::vector<int> connected;
    for (int client = 0; client < std::ssize(clients_); ++client)
        if (isConnected(client))
            connected.push_back(client);
    return connected;
}

void Daemon::interrupt(int client) {
    const auto& connection = *clients_.at(static_cast<std::size_t>(client)).connection;
    const CodeOf daemon(CodeOf::Owner::daemon);
    contain("an interruption", connection.onInterruption);
}

void Daemon::invalidate(int client) {
    auto& [connection, guarded] = clients_.at(static_cast<std::size_t>(client));
    guarded.reset();
    {
        const CodeOf daemon(CodeOf::Owner::daemon);
        contain("an invalidation", connection->onInvalidation);
    }
    queue.post([this, client] { clients_.at(static_cast<std::size_t>(client)).connection.reset(); });
}

void Daemon::snapshot(int client) {
    ask(client, requests::FetchSnapshot{}, "snapshot",
        [](const auto& data) { return data ? std::string(data->begin(), data->end()) : "none"; });
}

void Daemon::hold(int client, double fraction, bool handsBackOnLidClose) {
    ask(client, requests::Hold{fraction, handsBackOnLidClose}, "hold",
        [](const auto& error) { return error.value_or("none"); });
}

void Daemon::handBack(int client) {
    ask(client, requests::HandBack{}, "handBack", [](const auto& error) { return error.value_or("none"); });
}

void Daemon::version(int client) {
    ask(client, requests::HelperVersion{}, "version", [](std::int64_t version) { return std::to_string(version); });
}

void Daemon::standDown(int client) {
    ask(client, requests::StandDown{}, "standDown", [](requests::Nothing) { return "done"; });
}

template <typename Asked, typename TextOf>
void Daemon::ask(int client, Asked asked, const char* name, TextOf textOf) {
    const auto request = addRequest(name);
    requests::AnyCall call = requests::Call{asked, [=, this](const auto& answer) {
                                                const CodeOf test(CodeOf::Owner::test);
                                                reply(request, textOf(answer));
                                            }};
    auto& guard = *clients_.at(static_cast<std::size_t>(client)).guard;
    const CodeOf daemon(CodeOf::Owner::daemon);
    guard.perform(std::move(call));
}

std::size_t Daemon::addRequest(const char* name) {
    requests_.push_back({name, 0});
    return requests_.size() - 1;
}

void Daemon::reply(std::size_t request, const std::string& text) {
    auto& [name, replies] = requests_.at(request);
    record("reply " + std::to_string(request) + ", " + name + ": " + text);
    ++replies;
    lastReply = text;
}

void Daemon::setRoot(bool isRoot) {
    rights.root = isRoot;
    exchange.isRoot = isRoot;
}

void Daemon::announce(PowerMessage message) {
    // A wake needs no acknowledgement.
    acknowledgements_.push_back(message == PowerMessage::systemHasPoweredOn || power.registered() == 0 ? 1 : 0);
    contain("a power message", [&] { power.send(message, static_cast<std::intptr_t>(acknowledgements_.size()) - 1); });
}

void Daemon::fileEvent() {
    contain("a file event", [this] { platform.files.send(); });
}

void Daemon::signal(int number) {
    contain("a signal", [&] { platform.stopSignals.send(number); });
}

void Daemon::announceToBusy(PowerMessage message) {
    record("a power message comes while the main thread is blocked");
    queue.postFirst([this, message] { announce(message); });
}

int Daemon::wronglyAnswered() const {
    return static_cast<int>(
        std::count_if(requests_.begin(), requests_.end(), [](const Request& request) { return request.replies != 1; }));
}

int Daemon::wronglyAcknowledged() const {
    return static_cast<int>(
        std::count_if(acknowledgements_.begin(), acknowledgements_.end(), [](int times) { return times != 1; }));
}

} // namespace kelo
