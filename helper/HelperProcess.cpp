#include "helper/HelperProcess.h"

#include <csignal>

#include "core/smc/smc.h"
#include "core/watch/BinaryWatch.h"
#include "helper/HelperService.h"
#include "helper/ListenerDelegate.h"
#include "helper/Platform.h"
#include "helper/Signals.h"
#include "protocol/KeloHelper.h"
#include "protocol/SigningIdentity.h"

namespace kelo {

HelperProcess::HelperProcess(Platform& platform) : platform_(platform), log_(makeLog("listener")) {}

HelperProcess::~HelperProcess() = default;

void HelperProcess::start() {
    makeService();
    watchOwnBinary();
    makeListener();
    const bool trusted = requireSignatureOfOurTeam();
    handleStopSignals(); // before the first client can arrive
    if (!trusted)
        return; // stays up for its signals and its binary watch, but serves nobody
    listener_->resume();
    log_.notice(std::string("Listening on ") + KeloHelper::machServiceName);
}

HelperLog HelperProcess::makeLog(const char* category) {
    return {platform_.makeSystemLog(HelperLog::subsystem, category), category, platform_};
}

void HelperProcess::makeService() {
    smc_set_exchange(&platform_.smcExchange());
    service_ = std::make_shared<HelperService>(
        ServiceSurroundings{platform_.mainQueue(), platform_.fanSystem(), platform_.powerNotifications(),
                            platform_.clamshell(), makeLog("service"), [this](int status) { platform_.exit(status); }});
}

void HelperProcess::watchOwnBinary() {
    const auto path = BinaryWatch::ownExecutable(platform_.fileEvents());
    if (!path) {
        log_.error("Couldn't find our own executable; an update won't replace this process until restart.");
        return;
    }
    binary_ = std::make_shared<BinaryWatch>(*path, platform_.fileEvents(), [this] {
        leave("Our binary was deleted or moved. Handing the fan back and leaving for the new helper.");
    });
}

void HelperProcess::makeListener() {
    delegate_ = std::make_unique<ListenerDelegate>(service_, binary_, platform_.mainQueue(),
                                                   [this](const std::string& notice) { leave(notice); });
    listener_ = platform_.makeListener(KeloHelper::machServiceName);
    listener_->setAdmission(*delegate_);
}

bool HelperProcess::requireSignatureOfOurTeam() {
    const auto team = SigningIdentity::ownTeamID(platform_.signingInformation());
    if (!team) {
        log_.error("This helper isn't signed, so there is no one it can safely trust.");
        return false;
    }
    listener_->setConnectionCodeSigningRequirement(SigningIdentity::requirement(SigningIdentity::appIdentifier, *team));
    log_.notice(std::string("Accepting only ") + SigningIdentity::appIdentifier + " signed by " + *team + ".");
    return true;
}

void HelperProcess::handleStopSignals() {
    for (const int signal : {SIGTERM, SIGINT}) {
        platform_.signals().ignore(signal);
        signalSources_.push_back(platform_.signals().deliver(signal, [this] { leave("Asked to stop."); }));
    }
}

/// The one way out of the process.
void HelperProcess::leave(const std::string& notice) {
    log_.notice(notice);
    service_->shutdownNow();
    platform_.exit(0);
}

} // namespace kelo
