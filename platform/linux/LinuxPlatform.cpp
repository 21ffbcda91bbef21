#include "platform/linux/LinuxPlatform.h"

#include <malloc.h>

#include <chrono>
#include <cstdlib>
#include <stdexcept>

#include "platform/linux/log/SyslogSystemLog.h"
#include "platform/linux/signing/PeerCodeCheck.h"
#include "platform/linux/socket/ServiceSocket.h"
#include "platform/posix/Containment.h"
#include "platform/posix/StandardStreams.h"

namespace kelo {
namespace {

constexpr std::chrono::seconds listenerTimeout(2);

std::unique_ptr<SystemLog> makeSystemLog(const std::string& subsystem, const std::string& category) {
    return std::make_unique<SyslogSystemLog>(subsystem, category);
}

} // namespace

LinuxPlatform::LinuxPlatform(const ConnectionLimits& limits)
    : limits_(limits), exchange_(hardware_), rights_(folder_), power_(hardware_, loop_), clamshell_(hardware_),
      files_(loop_, InotifyFileEvents::Urgency::urgent), signals_(loop_),
      anchor_(folder_.descriptor(), SimulatedMacFolder::anchorName),
      signing_(anchor_, [](const std::string& reason) { reportFault("the helper's signature", reason.c_str()); }),
      platform_(assemble()) {}

Platform LinuxPlatform::assemble() {
    return {
        .queue = loop_,
        .exchange = exchange_,
        .clock = clock_,
        .rights = rights_,
        .power = power_,
        .clamshell = clamshell_,
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
    if (!isAlone_)
        throw std::runtime_error("another helper is running in this folder");
    const auto checkPeer = [check = PeerCodeCheck(anchor_)](int socket, const std::string& requirement) {
        return check.check(socket, requirement);
    };
    // Only to the system's log: standard error is for the helper's own messages.
    const auto log = std::make_shared<SyslogSystemLog>(machServiceName, "listener");
    auto listener = std::make_unique<SocketListener>(
        folder_.descriptor(), serviceSocketName(machServiceName), checkPeer,
        [log](const std::string& reason) { log->write(LogLevel::error, reason); }, limits_);
    listener_ = listener.get();
    return listener;
}

void LinuxPlatform::exit(int status) {
    // The listener's thread must not run while the process's statics are destroyed; if it is stuck, they are not
    // destroyed.
    if (listener_ != nullptr && !listener_->stopsWithin(listenerTimeout)) {
        StandardStreams::finish();
        std::_Exit(status);
    }
    std::exit(status);
}

std::shared_ptr<const Platform> makePlatform() {
    mallopt(M_ARENA_MAX, 1);    // the two threads are seldom busy at once, and what one frees serves the other, too
    StandardStreams::prepare(); // first: the platform's descriptors must not take the place of a closed standard error
    const auto owner = std::make_shared<LinuxPlatform>();
    return {owner, &owner->platform()};
}

} // namespace kelo
