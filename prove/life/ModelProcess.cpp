#include "prove/life/ModelProcess.h"

#include <cmath>
#include <cstring>
#include <type_traits>
#include <utility>

#include "core/fan/Clock.h"
#include "core/hold/Clamshell.h"
#include "helper/LogOutput.h"
#include "protocol/FanSnapshot.h"

namespace kelo {
namespace {

std::uint32_t typeOf(PowerMessage message) {
    switch (message) {
    case PowerMessage::canSystemSleep:
        return 0xE0000270;
    case PowerMessage::systemWillSleep:
        return 0xE0000280;
    case PowerMessage::systemHasPoweredOn:
        return 0xE0000300;
    }
    return 0;
}

} // namespace

/// Gives each request to the model as one of its inputs, with its number.
class ModelProcess::Requests : public KeloHelperProtocol {
public:
    explicit Requests(ModelProcess& process) : process_(process) {}
    void perform(requests::AnyCall call) override { process_.perform(std::move(call)); }

private:
    ModelProcess& process_;
};

std::shared_ptr<void> ModelProcess::start(const Platform& platform) {
    auto process = std::make_shared<ModelProcess>(platform);
    process->model_.start();
    return process;
}

bool ModelProcess::exchange(std::uint32_t connection, const reference::Record& in, reference::Record& out) {
    SMCKeyData request;
    SMCKeyData reply{};
    std::memcpy(&request, in.data(), sizeof request);
    const bool isDone = platform_.machine.exchange.exchange(connection, request, reply);
    std::memcpy(out.data(), &reply, sizeof reply);
    return isDone;
}

std::int64_t ModelProcess::nowNanoseconds() { return std::llround(platform_.machine.clock.now() * 1e9); }

void ModelProcess::sleepMicroseconds(std::uint32_t microseconds) {
    platform_.machine.clock.sleep(static_cast<double>(microseconds) / 1e6);
}

reference::LidProperty ModelProcess::lidProperty() {
    using Kind = reference::LidProperty::Kind;
    const auto state = platform_.machine.clamshell.clamshellState();
    if (const auto* isClosed = std::get_if<bool>(&state))
        return {Kind::boolean, *isClosed, 0};
    if (const auto* number = std::get_if<double>(&state))
        return {Kind::number, false, *number};
    return {Kind::other, false, 0};
}

bool ModelProcess::registerForPower() {
    power_ = platform_.machine.power.registerForSystemPower(
        [this](PowerMessage message, std::intptr_t id) { model_.powerMessage(typeOf(message), id); });
    return power_ != nullptr;
}

std::optional<reference::FileIdentity> ModelProcess::identify(const std::string& path) {
    const auto file = platform_.files.identify(path);
    return file ? std::optional(reference::FileIdentity{file->device, file->inode}) : std::nullopt;
}

bool ModelProcess::watch(const std::string& path) {
    watch_ = platform_.files.watch(path, [this] { model_.fileEvent(); });
    return watch_ != nullptr;
}

void ModelProcess::createListener(const std::string& serviceName) {
    listener_ = platform_.makeListener(serviceName);
    listener_->setAdmission([this](IncomingConnection& connection) { return admit(connection); });
}

void ModelProcess::setRequirement(const std::string& requirement) {
    listener_->setConnectionCodeSigningRequirement(requirement);
}

bool ModelProcess::admit(IncomingConnection& connection) {
    arriving_ = &connection;
    model_.connectionArrived();
    return std::exchange(arriving_, nullptr) == nullptr;
}

void ModelProcess::acceptConnection() {
    auto& accepted = *std::exchange(arriving_, nullptr);
    accepted.exportObject(std::make_shared<Requests>(*this));
    accepted.setInvalidationHandler([this] { model_.connectionEnded(); });
    accepted.setInterruptionHandler([this] { model_.connectionEnded(); });
    accepted.resume();
}

void ModelProcess::makeSignalSource(int number) {
    signals_.push_back(platform_.signals.deliver(number, [this, number] { model_.signal(number); }));
}

void ModelProcess::armTimer(reference::Timer which, double delaySeconds, bool isRepeating) {
    auto fire = [this, which] { model_.timerFired(which); };
    if (which == reference::Timer::standDown)
        platform_.machine.queue.postAfter(delaySeconds, std::move(fire));
    else
        timers_[which] = platform_.machine.queue.scheduleTimer(delaySeconds, isRepeating, std::move(fire));
}

void ModelProcess::log(const std::string& category, reference::Level level, const std::string& text) {
    const std::string word = level == reference::Level::error ? "[ERROR] " : "[NOTICE] ";
    platform_.logOutput.writeStandardError("now " + word + category + ": " + text + "\n");
}

void ModelProcess::perform(requests::AnyCall call) {
    using namespace requests;
    const auto request = static_cast<reference::RequestId>(calls_.size());
    calls_.push_back(std::move(call));
    std::visit(Overloaded{
                   [&](const Call<FetchSnapshot>&) { model_.fetchSnapshot(request); },
                   [&](const Call<Hold>& made) {
                       model_.hold(request, made.request.fraction, made.request.handsBackOnLidClose);
                   },
                   [&](const Call<HandBack>&) { model_.handBack(request); },
                   [&](const Call<HelperVersion>&) { model_.helperVersion(request); },
                   [&](const Call<StandDown>&) { model_.standDown(request); },
               },
               calls_.back());
}

template <typename Answer>
void ModelProcess::reply(reference::RequestId request, const Answer& answer) {
    std::visit(
        [&](const auto& call) {
            if constexpr (std::is_invocable_v<decltype(call.reply), Answer>)
                call.reply(answer);
        },
        calls_.at(request));
}

void ModelProcess::replySnapshot(reference::RequestId request, const std::optional<reference::Snapshot>& snapshot) {
    if (!snapshot)
        return reply(request, std::optional<Data>());
    const FanSnapshot record{snapshot->fanCount,  snapshot->currentRPM,       snapshot->minRPM, snapshot->maxRPM,
                             snapshot->targetRPM, snapshot->underKeloControl, snapshot->warmth, snapshot->chipCelsius,
                             snapshot->addingAir, snapshot->lidHasFan};
    reply(request, std::optional(record.encoded()));
}

} // namespace kelo
