#include "helper/HelperProcess.h"

#include <csignal>
#include <exception>
#include <iterator>
#include <optional>
#include <string>

#include "core/watch/BinaryWatch.h"
#include "helper/HelperService.h"
#include "helper/ListenerDelegate.h"
#include "helper/Platform.h"
#include "helper/Signals.h"
#include "protocol/KeloHelper.h"
#include "protocol/SigningIdentity.h"

namespace kelo {
namespace {

/// The signals that end a process by default and may come from users, terminals, resource limits or other programs.
constexpr int stopSignals[] = {SIGTERM, SIGINT, SIGHUP, SIGQUIT, SIGXCPU, SIGUSR1, SIGUSR2, SIGALRM};

} // namespace

HelperProcess::HelperProcess(const Platform& platform)
    : platform_(platform), log_(makeLog("listener")), leave_([this](const char* notice) { leave(notice); }) {}

HelperProcess::~HelperProcess() = default;

void HelperProcess::start() noexcept {
    try {
        makeService();
        watchOwnBinary();
        makeListener();
        requireSignatureOfOurTeam();
        handleStopSignals();
    } catch (const std::exception&) { // out of memory; the next request starts another helper
        leave("Couldn't start; leaving.");
    }
}

HelperLog HelperProcess::makeLog(const char* category) {
    return {platform_.makeSystemLog(HelperLog::subsystem, category), category, platform_.logOutput};
}

void HelperProcess::makeService() {
    service_ = std::make_shared<HelperService>(ServiceDependencies{
        .machine = platform_.machine,
        .log = makeLog("service"),
        .leave = leave_,
        .onTick =
            [this] {
                if (binary_)
                    binary_->check(); // some replacements cause no event
            },
    });
}

void HelperProcess::watchOwnBinary() {
    const auto path = BinaryWatch::ownExecutable(platform_.files);
    if (!path) {
        log_.error("Couldn't find our own executable; an update won't replace this process until restart.");
        return;
    }
    binary_ = std::make_shared<BinaryWatch>(*path, platform_.files, [leave = leave_] {
        leave("Our binary was deleted or moved. Handing the fan back and leaving for the new helper.");
    });
}

void HelperProcess::makeListener() {
    delegate_ = std::make_unique<ListenerDelegate>(service_, binary_, platform_.machine.queue, leave_);
    try {
        listener_ = platform_.makeListener(KeloHelper::machServiceName);
    } catch (const std::exception& error) {
        log_.error(std::string("Couldn't create the listener, so no client can be served until restart: ") +
                   error.what() + ".");
        return;
    }
    listener_->setAdmission([delegate = delegate_.get()](IncomingConnection& connection) {
        return delegate->shouldAcceptNewConnection(connection);
    });
}

void HelperProcess::requireSignatureOfOurTeam() {
    std::optional<std::string> team;
    try {
        team = SigningIdentity::ownTeamID(platform_.signing);
    } catch (const std::exception& error) {
        log_.error(std::string("Couldn't read our own signature, so there is no one we can safely trust: ") +
                   error.what() + ".");
        return;
    }
    if (!team) {
        log_.error("This helper isn't signed, so there is no one it can safely trust.");
        return;
    }
    if (!listener_)
        return; // no listener to set the requirement on
    listener_->setConnectionCodeSigningRequirement(SigningIdentity::requirement(SigningIdentity::appIdentifier, *team));
    log_.notice(std::string("Accepting only ") + SigningIdentity::appIdentifier + " signed by " + *team + ".");
    isTrusted_ = true;
}

void HelperProcess::handleStopSignals() {
    for (const int signal : stopSignals) {
        signalSources_.push_back(platform_.signals.deliver(signal, [leave = leave_] { leave("Asked to stop."); }));
        if (!signalSources_.back())
            log_.error("Couldn't watch for signal " + std::to_string(signal) +
                       "; it will end this process without handing the fan back.");
    }
    for (const auto& source : signalSources_) {
        if (source)
            source->whenReady([this] { listenWhenStoppable(); });
        else
            listenWhenStoppable();
    }
}

/// Starts listening once stop signals can no longer be lost: if one were lost, a client's hold would stay in place.
void HelperProcess::listenWhenStoppable() {
    // Without a team, the process still handles signals and watches its binary, but serves no client.
    if (++readySources_ < std::size(stopSignals) || !isTrusted_)
        return;
    if (listener_->resume())
        log_.notice(std::string("Listening on ") + KeloHelper::machServiceName);
}

void HelperProcess::leave(const char* notice) noexcept {
    if (notice != nullptr)
        log_.notice(notice);
    if (service_)
        service_->shutdownNow();
    platform_.exit(0);
}

} // namespace kelo
