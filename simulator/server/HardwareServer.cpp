#include "simulator/server/HardwareServer.h"

#include <sys/socket.h>

#include <algorithm>
#include <chrono>
#include <cstring>
#include <stdexcept>
#include <utility>

#include "platform/linux/socket/UnixSocket.h"
#include "simulator/link/HardwareLink.h"

namespace kelo {
namespace {

constexpr std::size_t shownWrites = 1000;

double monotonicSeconds() {
    return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

/// Whoever runs the simulated Mac is its superuser, and the system's superuser is, too.
bool isPeerRoot(int socket) {
    ucred peer{};
    socklen_t size = sizeof peer;
    if (getsockopt(socket, SOL_SOCKET, SO_PEERCRED, &peer, &size) != 0)
        return false;
    return peer.uid == 0 || peer.uid == geteuid();
}

Message errorAnswer(const std::string& sentence) { return {{"error", sentence}}; }

const Message done = Message::object();

SMCCommand commandNamed(const std::string& name) {
    if (name == "info")
        return SMCCommand::readKeyInfo;
    if (name == "read")
        return SMCCommand::readBytes;
    if (name == "write")
        return SMCCommand::writeBytes;
    throw std::invalid_argument("there is no command \"" + name + "\"");
}

} // namespace

struct HardwareServer::Client {
    int id;
    FileDescriptor socket;
    bool isRoot;
    std::unique_ptr<DescriptorWatch> watch;
    std::optional<int> powerClient;
};

HardwareServer::HardwareServer(EventLoop& loop, int folder, const Profile& profile, double heatSpeed)
    : loop_(loop), startTime_(monotonicSeconds()),
      mac_(
          profile, [this] { return monotonicSeconds() - startTime_; }, heatSpeed),
      power_(loop, [this] { return monotonicSeconds() - startTime_; }),
      lid_(profile.hasLid ? ClamshellProperty(false) : ClamshellProperty()),
      listening_(unix_socket::listen(folder, HardwareLink::socketName)),
      accepting_(loop.watch(listening_.get(), EventLoop::Readiness::readable, [this] { acceptWaiting(); })) {}

HardwareServer::~HardwareServer() = default;

const std::map<std::string, HardwareServer::Call>& HardwareServer::handlers() {
    static const std::map<std::string, Call> handlers = {
        {"exchange", {&HardwareServer::exchange, false}}, // the controller itself minds the rights to write
        {"clamshell", {&HardwareServer::clamshell, false}},
        {"registerPower", {&HardwareServer::registerPower, false}},
        {"allowPowerChange", {&HardwareServer::allowPowerChange, false}},
        {"show", {&HardwareServer::show, false}},
        {"lid", {&HardwareServer::lid, true}},
        {"sleep", {&HardwareServer::sleep, true}},
        {"wake", {&HardwareServer::wake, true}},
        {"load", {&HardwareServer::load, true}},
        {"set", {&HardwareServer::set, true}},
        {"interfere", {&HardwareServer::interfere, true}},
        {"fault", {&HardwareServer::fault, true}},
    };
    return handlers;
}

void HardwareServer::acceptWaiting() {
    for (auto socket = unix_socket::accept(listening_.get()); socket.isValid();
         socket = unix_socket::accept(listening_.get())) {
        const int id = nextClient_++;
        const int descriptor = socket.get();
        const bool isRoot = isPeerRoot(descriptor);
        auto watch = loop_.watch(descriptor, EventLoop::Readiness::readable, [this, id] { readCall(id); });
        clients_[id] = std::make_unique<Client>(Client{id, std::move(socket), isRoot, std::move(watch), {}});
    }
}

void HardwareServer::readCall(int id) {
    auto& client = *clients_.at(id);
    const auto received = unix_socket::receive(client.socket.get(), HardwareLink::maximumMessageSize);
    if (std::holds_alternative<unix_socket::WouldBlock>(received))
        return;
    const auto* bytes = std::get_if<std::vector<std::uint8_t>>(&received);
    const auto call = bytes != nullptr ? decodeMessage(*bytes) : std::nullopt;
    if (!call)
        return drop(id);
    const auto answer = [this, id](const Message& message) {
        if (const auto found = clients_.find(id); found != clients_.end())
            send(*found->second, message);
    };
    try {
        const auto found = handlers().find(call->at("call").get<std::string>());
        if (found == handlers().end())
            return answer(errorAnswer("There is no such call."));
        const auto& [handler, isForRoot] = found->second;
        if (isForRoot && !client.isRoot)
            return answer(errorAnswer("Only whoever runs the simulated Mac can do that."));
        (this->*handler)(client, *call, answer);
    } catch (const std::exception& error) { // a member that is missing or of another type, or a key that is none
        answer(errorAnswer(std::string("That cannot be done: ") + error.what() + "."));
    }
}

void HardwareServer::drop(int id) {
    const auto client = std::move(clients_.at(id));
    clients_.erase(id);
    if (client->powerClient)
        power_.removeClient(*client->powerClient);
}

/// A client that does not read what it asked for is dropped with the next event on its socket.
void HardwareServer::send(Client& client, const Message& message) {
    if (unix_socket::send(client.socket.get(), encodeMessage(message)) != unix_socket::Sent::whole)
        shutdown(client.socket.get(), SHUT_RDWR);
}

// --- what the helper calls

void HardwareServer::exchange(Client& client, const Message& call, const Answer& answer) {
    const auto& bytes = call.at("record").get_binary();
    SMCKeyData request{};
    if (bytes.size() != sizeof request)
        throw std::invalid_argument("a record has 80 bytes");
    std::memcpy(&request, bytes.data(), sizeof request);
    Message message = done;
    if (const auto reply = mac_.exchange(request, client.isRoot)) {
        Message::binary_t record(std::vector<std::uint8_t>(sizeof *reply));
        std::memcpy(record.data(), &*reply, sizeof *reply);
        message["record"] = std::move(record);
    }
    if (replyDelay_ > 0)
        loop_.postAfter(replyDelay_, [answer, message] { answer(message); });
    else
        answer(message);
}

void HardwareServer::clamshell(Client&, const Message&, const Answer& answer) {
    answer({{"clamshell", clamshellValue()}});
}

void HardwareServer::registerPower(Client& client, const Message&, const Answer& answer) {
    if (client.powerClient)
        return answer(errorAnswer("This connection is registered already."));
    answer(done); // before the first message can be
    client.powerClient = power_.addClient([this, id = client.id](std::uint32_t message, std::int64_t notificationID) {
        if (const auto found = clients_.find(id); found != clients_.end())
            send(*found->second, {{"power", message}, {"id", notificationID}});
    });
}

void HardwareServer::allowPowerChange(Client& client, const Message& call, const Answer&) {
    if (client.powerClient)
        power_.acknowledge(*client.powerClient, call.at("id").get<std::int64_t>());
}

// --- what drives the Mac

void HardwareServer::show(Client&, const Message&, const Answer& answer) {
    const auto* isClosed = std::get_if<bool>(&lid_);
    answer({{"fans", fans()},
            {"temperatures", temperatures()},
            {"lidClosed", isClosed != nullptr && *isClosed},
            {"asleep", power_.isAsleep()},
            {"powerClients", power_.clientCount()},
            {"load", mac_.load()},
            {"writes", writes()}});
}

void HardwareServer::lid(Client&, const Message& call, const Answer& answer) {
    const auto& state = call.at("state");
    const bool isMoved = state == "open" || state == "close";
    if (isMoved && std::holds_alternative<std::monostate>(lid_))
        return answer(errorAnswer("This Mac has no lid."));
    if (isMoved)
        lid_ = state == "close";
    else if (state.is_number())
        lid_ = state.get<double>();
    else if (state.is_null())
        lid_ = std::monostate{};
    else
        lid_ = UnconvertibleProperty{};
    answer(done);
}

void HardwareServer::sleep(Client&, const Message& call, const Answer& answer) {
    const auto cause = call.value("now", false) ? RootPowerDomain::Cause::demand : RootPowerDomain::Cause::idleness;
    const bool begins = power_.sleep(cause, [this, answer](const RootPowerDomain::SleepReport& report) {
        answer({{"seconds", report.seconds},
                {"acknowledged", report.acknowledged},
                {"missing", report.missing},
                {"fans", fans()}});
        mac_.setAsleep(true);
    });
    if (!begins)
        answer(errorAnswer("The Mac is asleep, or about to be."));
}

void HardwareServer::wake(Client&, const Message&, const Answer& answer) {
    if (!power_.isAsleep())
        return answer(errorAnswer("The Mac is awake."));
    mac_.setAsleep(false);
    power_.wake();
    answer(done);
}

void HardwareServer::load(Client&, const Message& call, const Answer& answer) {
    mac_.setLoad(call.at("value").get<double>());
    answer(done);
}

void HardwareServer::set(Client&, const Message& call, const Answer& answer) {
    const auto key = call.at("key").get<std::string>();
    if (call.at("value").is_null())
        mac_.unpin(key);
    else
        mac_.pin(key, call.at("value").get<double>());
    answer(done);
}

void HardwareServer::interfere(Client&, const Message& call, const Answer& answer) {
    const int fan = call.at("fan").get<int>();
    if (fan < 0 || fan >= mac_.fanCount())
        return answer(errorAnswer("This Mac has no such fan."));
    if (call.at("speed").is_null())
        mac_.interfereWithMode(fan, false);
    else
        mac_.interfereWithSpeed(fan, call.at("speed").get<double>());
    answer(done);
}

void HardwareServer::fault(Client&, const Message& call, const Answer& answer) {
    auto& controller = mac_.controller();
    const auto kind = call.at("kind").get<std::string>();
    const auto key = [&] { return call.at("key").get<std::string>(); };
    if (kind == "fail") {
        controller.failExchange(call.at("n").get<int>());
    } else if (kind == "answer") {
        controller.answer(call.contains("key") ? std::optional(key()) : std::nullopt,
                          call.contains("command") ? std::optional(commandNamed(call.at("command"))) : std::nullopt,
                          call.at("result").get<std::uint8_t>());
    } else if (kind == "size") {
        controller.reportSize(key(), call.at("size").get<std::uint32_t>());
    } else if (kind == "type") {
        controller.reportType(key(), smcCode((call.at("type").get<std::string>() + "    ").c_str()));
    } else if (kind == "remove") {
        controller.remove(key());
    } else if (kind == "slow") {
        replyDelay_ = call.at("seconds").get<double>();
    } else if (kind == "clear") {
        controller.clearFaults();
        replyDelay_ = 0;
    } else {
        throw std::invalid_argument("there is no fault \"" + kind + "\"");
    }
    answer(done);
}

Message HardwareServer::fans() {
    auto& controller = mac_.controller();
    Message fans = Message::array();
    for (int i = 0; i < mac_.fanCount(); ++i) {
        const auto number = [&](const char* suffix) -> Message {
            const auto key = "F" + std::to_string(i) + suffix;
            return controller.has(key) ? Message(controller.number(key)) : Message();
        };
        const auto mode = number("Md");
        fans.push_back({{"index", i},
                        {"currentRPM", number("Ac")},
                        {"minRPM", number("Mn")},
                        {"maxRPM", number("Mx")},
                        {"targetRPM", number("Tg")},
                        {"isManual", !mode.is_null() && mode != 0}});
    }
    return fans;
}

Message HardwareServer::temperatures() {
    auto& controller = mac_.controller();
    Message temperatures = Message::object();
    for (const auto& name : controller.names())
        if (name.front() == 'T')
            temperatures[name] = controller.number(name);
    return temperatures;
}

/// The newest writes that were carried out.
Message HardwareServer::writes() {
    Message writes = Message::array();
    const auto& log = mac_.controller().log();
    for (auto record = log.rbegin(); record != log.rend() && writes.size() < shownWrites; ++record) {
        const auto& request = record->request;
        if (request.data8 != static_cast<std::uint8_t>(SMCCommand::writeBytes) || !record->reply ||
            record->reply->result != 0)
            continue;
        const auto size = std::min<std::size_t>(request.keyInfo.dataSize, sizeof request.bytes);
        writes.push_back({{"time", record->time},
                          {"key", record->key()},
                          {"bytes", std::vector<int>(request.bytes, request.bytes + size)}});
    }
    std::reverse(writes.begin(), writes.end());
    return writes;
}

Message HardwareServer::clamshellValue() const {
    if (const auto* isClosed = std::get_if<bool>(&lid_))
        return *isClosed;
    if (const auto* number = std::get_if<double>(&lid_))
        return *number;
    return std::holds_alternative<UnconvertibleProperty>(lid_) ? Message("text") : Message();
}

} // namespace kelo
