#include "prove/daemon/Daemon.h"

#include <algorithm>
#include <utility>

#include "platform/posix/Containment.h"

namespace kelo {
namespace {

Daemon* running = nullptr;

std::string textOf(const std::optional<std::string>& error) { return error.value_or("none"); }

} // namespace

// Stands in for an operating system's.
void reportFault(const char* what, const char* why) noexcept {
    if (running == nullptr)
        return;
    ++running->reportedFaults_;
    running->record(std::string("fault reported: ") + what + ": " + why);
}

Daemon::Daemon() {
    platform.onStep = [this](const std::string& step) {
        record(step);
        if (step.starts_with("exit "))
            exit(step);
    };
    platform.stopSignals.onStep = platform.files.onStep = platform.onStep;
    platform.output.onMessage = [this](const std::string& message) { record(message); };
    power.onStep = queue.onStep = [this](const std::string& step) { record(step); };
    clamshell.onQuery = [this] { record("lid?"); };
    power.onAllow = [this](std::intptr_t id) {
        record("allow " + std::to_string(id));
        ++acknowledgements_.at(static_cast<std::size_t>(id));
    };
    running = this;
}

Daemon::~Daemon() {
    running = nullptr;
    tape.end();
}

void Daemon::record(const std::string& event) { tape.add({now, event}); }

void Daemon::start() {
    process_ = std::make_unique<HelperProcess>(platform.platform());
    process_->start();
}

void Daemon::exit(const std::string& step) {
    exitStatus = exitStatus.value_or(0) | std::stoi(step.substr(5));
    queue.stop();
    tape.end();
}

void Daemon::connect() {
    if (platform.listener == nullptr || !platform.listener->isResumed)
        return;
    auto connection = platform.listener->connect();
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

void Daemon::interrupt(int client) { clients_.at(static_cast<std::size_t>(client)).connection->onInterruption(); }

void Daemon::invalidate(int client) {
    auto& [connection, guarded] = clients_.at(static_cast<std::size_t>(client));
    guarded->connectionEnded();
    guarded.reset();
    connection->onInvalidation();
}

void Daemon::snapshot(int client) {
    guard(client).fetchSnapshot([reply = expectReply("snapshot")](const std::optional<Data>& data) {
        reply(data ? std::string(data->begin(), data->end()) : "none");
    });
}

void Daemon::hold(int client, double fraction, bool handsBackOnLidClose) {
    guard(client).hold(fraction, handsBackOnLidClose,
                       [reply = expectReply("hold")](const auto& error) { reply(textOf(error)); });
}

void Daemon::handBack(int client) {
    guard(client).handBack([reply = expectReply("handBack")](const auto& error) { reply(textOf(error)); });
}

void Daemon::version(int client) {
    guard(client).helperVersion(
        [reply = expectReply("version")](std::int64_t version) { reply(std::to_string(version)); });
}

void Daemon::standDown(int client) {
    guard(client).standDown([reply = expectReply("standDown")] { reply("done"); });
}

std::function<void(const std::string&)> Daemon::expectReply(const std::string& name) {
    const auto number = replies_.size();
    replies_.push_back(0);
    return [this, number, name](const std::string& text) {
        record("reply " + std::to_string(number) + ", " + name + ": " + text);
        ++replies_.at(number);
        lastReply = text;
    };
}

void Daemon::setRoot(bool isRoot) {
    rights.root = isRoot;
    exchange.isRoot = isRoot;
}

void Daemon::announce(PowerMessage message) {
    // Of a wake nobody expects an acknowledgement.
    acknowledgements_.push_back(message == PowerMessage::systemHasPoweredOn || power.registered() == 0 ? 1 : 0);
    power.send(message, static_cast<std::intptr_t>(acknowledgements_.size()) - 1);
}

int Daemon::wronglyAnswered() const {
    return static_cast<int>(replies_.size() - static_cast<std::size_t>(std::ranges::count(replies_, 1)));
}

int Daemon::wronglyAcknowledged() const {
    return static_cast<int>(acknowledgements_.size() -
                            static_cast<std::size_t>(std::ranges::count(acknowledgements_, 1)));
}

} // namespace kelo
