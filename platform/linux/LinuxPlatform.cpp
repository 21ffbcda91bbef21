#include "platform/linux/LinuxPlatform.h"

#include <malloc.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <stdexcept>

#include "platform/linux/log/SyslogSystemLog.h"
#include "platform/linux/signing/PeerCodeCheck.h"
#include "platform/posix/Containment.h"
#include "platform/posix/StandardStreams.h"

namespace kelo {
namespace {

constexpr std::chrono::seconds listenerTimeout(2);
constexpr double retryInterval = 1; // seconds between attempts to use the hardware

std::unique_ptr<SystemLog> makeSystemLog(const std::string& subsystem, const std::string& category) {
    return std::make_unique<SyslogSystemLog>(subsystem, category);
}

} // namespace

LinuxPlatform::LinuxPlatform(const ConnectionLimits& limits)
    : limits_(limits), hardware_(hardwareFolder_), power_(hardwareFolder_, loop_),
      files_(loop_, InotifyFileEvents::Urgency::urgent), signals_(loop_),
      signing_([](const std::string& reason) { reportFault("the helper's signature", reason.c_str()); }),
      log_(makeSystemLog(HelperLog::subsystem, "hardware"), "hardware", logOutput_), platform_(assemble()) {
    if (obstacle_)
        nextTry_ = loop_.scheduleTimer(retryInterval, true, [this] { startOverIfPossible(); });
}

Platform LinuxPlatform::assemble() {
    return {
        .machine = {.queue = loop_,
                    .exchange = hardware_,
                    .clock = clock_,
                    .rights = folder_,
                    .power = power_,
                    .clamshell = hardware_},
        .files = files_,
        .signals = signals_,
        .signing = signing_,
        .logOutput = logOutput_,
        .makeSystemLog = makeSystemLog,
        .makeListener = [this](const std::string& machServiceName) { return makeListener(machServiceName); },
        .runMainLoop = [this] { loop_.run(); },
        .exit = [this](int status) { exit(status); },
    };
}

std::unique_ptr<Listener> LinuxPlatform::makeListener(const std::string& machServiceName) {
    if (obstacle_)
        throw std::runtime_error(*obstacle_);
    const InstalledAnchor anchor(folder_.descriptor(), SimulatedMacFolder::anchorName);
    if (!anchor.refusal().empty())
        reportFault("no client will be admitted", anchor.refusal().c_str());
    const auto checkPeer = [check = PeerCodeCheck(anchor)](int socket, const std::string& requirement) {
        return check.check(socket, requirement);
    };
    // Logs refusals to the system log only: standard error is for the helper's own messages.
    const auto log = std::make_shared<SyslogSystemLog>(machServiceName, "listener");
    const HelperLog own(makeSystemLog(HelperLog::subsystem, "listener"), "listener", logOutput_);
    const ListenerReports reports = {
        .onRefusal = [log](const std::string& reason) { log->write(LogLevel::error, reason); },
        .onTrouble =
            [own](const std::string& reason) {
                own.error("Couldn't listen for clients, since " + reason + ". Trying again every second.");
            },
        .onRecovery = [own, machServiceName] { own.notice("Listening on " + machServiceName); },
    };
    auto listener = std::make_unique<SocketListener>(loop_, installation_.get(), serviceSocketName(machServiceName),
                                                     checkPeer, reports, limits_);
    listener_ = listener.get();
    return listener;
}

/// Restarts the helper in this process once the hardware is available, for example because the previous helper has
/// ended. A restart is needed because the service looks for the hardware only when it is created. The restart
/// interrupts nothing: until then, this process has no client and controls no fan.
void LinuxPlatform::startOverIfPossible() {
    if (SimulatedMacFolder().lock())
        return;
    auto executable = files_.ownExecutable();
    if (!executable)
        return;
    StandardStreams::finish();
    char* const arguments[] = {executable->data(), nullptr};
    execv(executable->c_str(), arguments);
    reportFault("starting over", std::strerror(errno));
}

void LinuxPlatform::exit(int status) {
    if (!hardware_.hasLink())
        log_.error("There was no link to the controller on the way out, so a fan may still be in manual mode.");
    // The listener's thread must not run while static objects are destroyed. If it is stuck, exits without destroying
    // them.
    if (listener_ != nullptr && !listener_->stopsWithin(listenerTimeout)) {
        StandardStreams::finish();
        std::_Exit(status);
    }
    std::exit(status);
}

std::shared_ptr<const Platform> makePlatform() {
    mallopt(M_ARENA_MAX, 1); // the two threads are rarely busy at once, and each can reuse memory that the other freed
    StandardStreams::prepare(); // first: the platform must not open a descriptor in place of a closed standard error
    const auto owner = std::make_shared<LinuxPlatform>();
    return {owner, &owner->platform()};
}

} // namespace kelo
