#include "prove/life/TwoLives.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "prove/life/ControllerInputs.h"
#include "prove/reference/Reference.h"

namespace kelo {
namespace {

using Action = Input::Action;

constexpr int limitForOneInput = 500'000; // exchanges; the longest `pass` needs about ten thousand

ClamshellProperty lidOf(const Input& input) {
    switch (static_cast<int>(input.x)) {
    case 0:
    case 1:
        return input.x == 1;
    case 2:
        return std::monostate();
    case 3:
        return UnconvertibleProperty();
    default:
        return input.y;
    }
}

constexpr FileIdentity otherFile{1, 101};

PowerMessage messageOf(Action action) {
    return action == Action::canSleep    ? PowerMessage::canSystemSleep
           : action == Action::willSleep ? PowerMessage::systemWillSleep
                                         : PowerMessage::systemHasPoweredOn;
}

/// Passes an input that is not from a client to one side.
void give(Daemon& side, const Input& input) {
    switch (input.action) {
    case Action::unsignedHelper:
        return side.setTeam(std::nullopt);
    case Action::unknownPath:
        return side.setExecutable(std::nullopt);
    case Action::unidentifiedFile:
        return side.setFile(std::nullopt);
    case Action::unwatchableFile:
        return side.setFileOpenable(false);
    case Action::start:
        return side.start();
    case Action::lid:
        return side.setLid(lidOf(input));
    case Action::powerDomain:
        return side.setPowerPresent(input.x != 0);
    case Action::canSleep:
    case Action::willSleep:
    case Action::poweredOn:
        return side.announce(messageOf(input.action));
    case Action::root:
        return side.setRoot(input.x != 0);
    case Action::replaceFile:
    case Action::deleteFile:
        side.setFile(input.action == Action::replaceFile ? std::optional(otherFile) : std::nullopt);
        return input.x != 0 ? side.fileEvent() : void();
    case Action::putFileBack:
        return side.setFile(FileIdentity{1, 100});
    case Action::fileEvent:
        return side.fileEvent();
    case Action::signal:
        return side.signal(static_cast<int>(input.x));
    default:
        applyToController(input, side.controller, side.exchange);
    }
}

/// Does nothing if the client has disconnected meanwhile.
void giveFromClient(Daemon& side, const Input& input, int client) {
    if (input.action == Action::connect)
        return side.connect();
    if (!side.isConnected(client))
        return;
    switch (input.action) {
    case Action::interrupt:
        return side.interrupt(client);
    case Action::invalidate:
        return side.invalidate(client);
    case Action::snapshot:
        return side.snapshot(client);
    case Action::hold:
        return side.hold(client, input.y, input.z != 0);
    case Action::handBack:
        return side.handBack(client);
    case Action::version:
        return side.version(client);
    case Action::standDown:
        return side.standDown(client);
    default:
        return;
    }
}

bool isFromClient(Action action) { return action >= Action::connect && action <= Action::standDown; }
bool isFromPowerDomain(Action action) { return action >= Action::canSleep && action <= Action::poweredOn; }

/// Passes the input to the side as soon as its main thread is blocked.
void giveWhileBlocked(Daemon& side, const Input& input, int client) {
    side.onBlocked([&side, input, client] {
        if (isFromClient(input.action))
            giveFromClient(side, input, client);
        else
            side.announceToBusy(messageOf(input.action));
    });
}

bool isEqual(const TapeEntry& a, const TapeEntry& b) {
    if (a.time != b.time || a.event != b.event || a.smc.reply.has_value() != b.smc.reply.has_value())
        return false;
    return std::memcmp(&a.smc.request, &b.smc.request, sizeof a.smc.request) == 0 &&
           (!a.smc.reply || std::memcmp(&*a.smc.reply, &*b.smc.reply, sizeof *a.smc.reply) == 0);
}

/// Describes the last events that the daemon and the model have in common, and the first in which they differ.
std::string describe(const Input& input, const std::vector<TapeEntry>& daemon, const std::vector<TapeEntry>& model) {
    const auto [ours, theirs] = std::mismatch(daemon.begin(), daemon.end(), model.begin(), model.end(), isEqual);
    std::string text = "after \"" + input.text() + "\"\n";
    for (auto entry = ours - std::min<std::ptrdiff_t>(ours - daemon.begin(), 6); entry != ours; ++entry)
        text += "  both    " + entry->text() + "\n";
    text += "  daemon  " + (ours == daemon.end() ? "nothing more" : ours->text()) + "\n";
    text += "  model   " + (theirs == model.end() ? "nothing more" : theirs->text()) + "\n";
    return text;
}

} // namespace

TwoLives::TwoLives() : model_(reference::Model::start) {}

bool TwoLives::apply(const Input& input) {
    daemon_.tape.clear();
    model_.tape.clear();
    daemon_.controller.clearLog();
    model_.controller.clearLog();
    daemon_.exchange.limit = daemon_.exchange.count() + limitForOneInput;
    model_.exchange.limit = model_.exchange.count() + limitForOneInput;
    if (!hasEnded() && isPossible(input.action))
        give(input);
    return agree(input);
}

/// Most properties of the machine can only be set before the daemon starts. Clients can only connect afterwards.
bool TwoLives::isPossible(Action action) const {
    if (action <= Action::start)
        return !isStarted_;
    return isStarted_ || action == Action::value || action == Action::type || action == Action::remove ||
           action == Action::fault || action == Action::powerDomain;
}

void TwoLives::give(const Input& input) {
    isStarted_ = isStarted_ || input.action == Action::start;
    isBusy_ = input.action == Action::busy || (isBusy_ && input.action != Action::pass);
    waitsForBlock_ = waitsForBlock_ || input.action == Action::blocked;
    if (isFromClient(input.action)) {
        giveFromClient(input);
    } else if (waitsForBlock_ && isFromPowerDomain(input.action)) {
        giveWhileBlocked(input, -1);
    } else {
        kelo::give(daemon_, input);
        kelo::give(model_, input);
    }
    if (isBusy_)
        return;
    const double seconds = input.action == Action::pass ? input.x : 0;
    daemon_.pass(seconds);
    model_.pass(seconds);
}

/// Returns the client that sends the input; nullopt if no client is connected.
std::optional<int> TwoLives::chooseClient(const Input& input) {
    if (input.action == Action::connect)
        return -1;
    const auto clients = daemon_.connectedClients();
    if (clients.empty())
        return std::nullopt;
    return clients[static_cast<std::size_t>(input.x) % clients.size()];
}

void TwoLives::giveFromClient(const Input& input) {
    const auto client = chooseClient(input);
    if (!client)
        return;
    if (waitsForBlock_) {
        giveWhileBlocked(input, *client);
    } else {
        kelo::giveFromClient(daemon_, input, *client);
        kelo::giveFromClient(model_, input, *client);
    }
}

void TwoLives::giveWhileBlocked(const Input& input, int client) {
    waitsForBlock_ = false;
    kelo::giveWhileBlocked(daemon_, input, client);
    kelo::giveWhileBlocked(model_, input, client);
}

bool TwoLives::agree(const Input& input) {
    const auto& ours = daemon_.tape.entries();
    const auto& theirs = model_.tape.entries();
    if (std::equal(ours.begin(), ours.end(), theirs.begin(), theirs.end(), isEqual) &&
        daemon_.hasExited() == model_.hasExited() && daemon_.now == model_.now)
        return true;
    difference_ = describe(input, ours, theirs);
    return false;
}

std::optional<std::string> TwoLives::differenceOf(const Script& script) {
    TwoLives lives;
    for (const auto& input : script)
        if (!lives.apply(input))
            return lives.difference();
    return std::nullopt;
}

} // namespace kelo
