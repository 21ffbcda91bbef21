#include "prove/reference/Reference.h"

#include <algorithm>
#include <cmath>
#include <csignal>
#include <utility>

#include "helper/LogOutput.h"
#include "protocol/FanSnapshot.h"
#include "protocol/SigningInformation.h"

namespace kelo::reference {
namespace {

constexpr double orphanSeconds = 8.0;
constexpr double standDownSeconds = 0.3;
constexpr std::int64_t interfaceVersion = 6;
constexpr int endingSignals[] = {SIGTERM, SIGINT, SIGHUP, SIGQUIT, SIGXCPU, SIGUSR1, SIGUSR2, SIGALRM};
const std::string serviceName = "app.kelo.helper";
const std::string appIdentifier = "app.kelo.Kelo";
const std::string listenerCategory = "listener";

} // namespace

// Passes each request from a client to the model.
class Model::Requests : public KeloHelperProtocol {
public:
    explicit Requests(Model& model) : model_(model) {}
    void perform(requests::AnyCall call) override { model_.perform(call); }

private:
    Model& model_;
};

std::shared_ptr<void> Model::start(const Platform& platform) {
    auto model = std::make_shared<Model>(platform);
    model->startService();
    model->startBinaryWatch();
    model->startListener();
    return model;
}

void Model::startService() {
    openFans();
    if (fanCount_ == 0)
        error(serviceCategory, "No controllable fan on this Mac \u2014 the helper will refuse every request.");
    else
        registerForPower(); // permanently, since a Mac may go to sleep while no fan is held
}

void Model::startBinaryWatch() {
    binaryPath_ = platform_.files.ownExecutable();
    if (!binaryPath_)
        return error(listenerCategory,
                     "Couldn't find our own executable; an update won't replace this process until restart.");
    binaryIdentity_ = platform_.files.identify(*binaryPath_);
    binaryWatch_ = platform_.files.watch(*binaryPath_, [this] {
        if (!isGone_ && isBinaryWatched_)
            lookAtBinary();
    });
    isBinaryWatched_ = binaryWatch_ != nullptr;
}

void Model::startListener() {
    listener_ = platform_.makeListener(serviceName);
    listener_->setAdmission([this](IncomingConnection& connection) { return admit(connection); });
    const std::optional<std::string> team = platform_.signing.teamIdentifier();
    if (team) {
        listener_->setConnectionCodeSigningRequirement(requirementText(appIdentifier, *team));
        notice(listenerCategory, "Accepting only " + appIdentifier + " signed by " + *team + ".");
    } else {
        error(listenerCategory, "This helper isn't signed, so there is no one it can safely trust.");
    }
    for (const int number : endingSignals)
        signals_.push_back(platform_.signals.deliver(number, [this] {
            if (!isGone_)
                leaveAfter("Asked to stop.");
        }));
    if (team) {
        static_cast<void>(listener_->resume());
        isListening_ = true;
        notice(listenerCategory, "Listening on " + serviceName);
    }
}

// Connections and requests.

bool Model::admit(IncomingConnection& connection) {
    if (isGone_ || !isListening_)
        return false;
    if (!isBinaryCurrent()) {
        post([this] {
            leaveAfter("Our binary was replaced on disk. Handing the fan back and leaving for the new helper.");
        });
        return false;
    }
    const auto onEnd = [this] {
        if (!isGone_)
            post([this] { clientWentAway(); });
    };
    connection.exportObject(std::make_shared<Requests>(*this));
    connection.setInvalidationHandler(onEnd);
    connection.setInterruptionHandler(onEnd);
    connection.resume();
    post([this] { clientArrived(); });
    return true;
}

void Model::perform(const requests::AnyCall& call) {
    using requests::Call;
    if (isGone_)
        return;
    std::visit(
        requests::Overloaded{
            [&](const Call<requests::FetchSnapshot>& made) { post([this, made] { made.reply(snapshot()); }); },
            [&](const Call<requests::Hold>& made) { post([this, made] { made.reply(holdOnMain(made.request)); }); },
            [&](const Call<requests::HandBack>& made) {
                post([this, made] {
                    endSession();
                    made.reply(std::nullopt);
                });
            },
            [&](const Call<requests::HelperVersion>& made) { made.reply(interfaceVersion); },
            [&](const Call<requests::StandDown>& made) {
                notice(serviceCategory, "A newer Kelo asked us to stand down.");
                made.reply(requests::Nothing{});
                platform_.machine.queue.postAfter(standDownSeconds, [this] {
                    if (!isGone_)
                        leave();
                });
            },
        },
        call);
}

void Model::post(std::function<void()> work) { platform_.machine.queue.post(std::move(work)); }

// Returns nullopt if there is no controller, or if a number is not finite, since JSON cannot express such a number.
std::optional<Data> Model::snapshot() {
    if (fanCount_ == 0)
        return std::nullopt;
    const std::vector<Fan> all = fans();
    Fan fastest; // all 0 if there is no fan
    bool isManual = false;
    for (const Fan& fan : all) {
        if (&fan == &all.front() || fastest.currentRPM < fan.currentRPM)
            fastest = fan;
        isManual = isManual || fan.isManual;
    }
    const std::string word = warmth();
    const std::optional<double> celsius = chipTemperature();
    for (const double number :
         {fastest.currentRPM, fastest.minRPM, fastest.maxRPM, fastest.targetRPM, celsius.value_or(0.0)})
        if (!std::isfinite(number))
            return std::nullopt;
    const Hold hold = all.empty() ? Hold() : session_.value_or(Hold());
    const FanSnapshot record{
        .fanCount = static_cast<std::int64_t>(all.size()),
        .currentRPM = fastest.currentRPM,
        .minRPM = fastest.minRPM,
        .maxRPM = fastest.maxRPM,
        .targetRPM = fastest.targetRPM,
        .underKeloControl = isManual,
        .warmth = word,
        .chipCelsius = celsius,
        .addingAir = hold.isAddingAir,
        .lidHasFan = hold.isHolding && !hold.isEngaged && !hold.isSleeping,
    };
    return record.encoded();
}

Model::Refusal Model::holdOnMain(const requests::Hold& asked) {
    if (fanCount_ == 0)
        return noFansText;
    if (session_)
        stopHold(*session_);
    if (!power_)
        registerForPower(); // if this fails, the hold continues but does not notice sleep
    Hold fresh;
    fresh.asked = clampedFraction(asked.fraction);
    fresh.isSleeping = isAsleep_;
    fresh.handsBackOnLidClose = asked.handsBackOnLidClose;
    session_ = fresh;
    Refusal refusal = startHold(*session_);
    if (refusal) {
        restoreAuto(); // no hold watches the fans that are already manual
        session_.reset();
    }
    return refusal;
}

// Clients and exit.

void Model::endSession() {
    if (session_)
        stopHold(*session_);
    session_.reset();
    if (fanCount_ != 0)
        restoreAuto();
}

void Model::clientArrived() {
    clients_ += 1;
    orphanTimer_.reset();
}

void Model::clientWentAway() {
    const std::int64_t left = clients_ - 1;
    clients_ = std::max<std::int64_t>(left, 0);
    if (left > 0 || !session_)
        return;
    notice(serviceCategory, "Last client disconnected; handing the fan back shortly.");
    orphanTimer_.reset();
    orphanTimer_ = platform_.machine.queue.scheduleTimer(orphanSeconds, false, [this] { orphanTimerFired(); });
}

void Model::orphanTimerFired() {
    if (isGone_ || clients_ != 0)
        return;
    endSession();
    notice(serviceCategory, "Fan handed back to macOS after the client went away.");
}

bool Model::isBinaryCurrent() {
    // A file that could not be identified at the start always counts as current.
    return !binaryPath_ || !binaryIdentity_ || platform_.files.identify(*binaryPath_) == binaryIdentity_;
}

void Model::lookAtBinary() {
    if (isBinaryCurrent())
        return;
    if (std::exchange(isBinaryWatched_, false))
        binaryWatch_->cancel();
    leaveAfter("Our binary was deleted or moved. Handing the fan back and leaving for the new helper.");
}

void Model::leave() {
    endSession();
    notice(serviceCategory, "Handed the fan back on the way out.");
    isGone_ = true; // first, since ending the process may not return
    platform_.exit(0);
}

void Model::leaveAfter(const std::string& reason) {
    notice(listenerCategory, reason);
    leave();
}

// Power and log.

void Model::registerForPower() {
    power_ = platform_.machine.power.registerForSystemPower(
        [this](PowerMessage message, std::intptr_t id) { powerMessage(message, id); });
}

void Model::powerMessage(PowerMessage message, std::intptr_t id) {
    if (isGone_)
        return;
    const bool willBeAsleep = message == PowerMessage::systemWillSleep;
    const bool isAwake = message == PowerMessage::systemHasPoweredOn;
    isAsleep_ = willBeAsleep || (isAsleep_ && !isAwake);
    if (session_ && willBeAsleep)
        willSleep(*session_);
    if (session_ && isAwake)
        didWake(*session_);
    if (!isAwake)
        power_->allowPowerChange(id); // last, since the Mac may sleep from here on
}

void Model::error(const std::string& category, const std::string& text) {
    platform_.logOutput.writeStandardError("now [ERROR] " + category + ": " + text + "\n");
}

void Model::notice(const std::string& category, const std::string& text) {
    platform_.logOutput.writeStandardError("now [NOTICE] " + category + ": " + text + "\n");
}

} // namespace kelo::reference
