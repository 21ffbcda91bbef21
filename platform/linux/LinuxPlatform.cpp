#include "platform/linux/LinuxPlatform.h"

#include <chrono>
#include <cstdlib>

#include "platform/linux/SyslogSystemLog.h"
#include "platform/linux/signing/PeerCodeCheck.h"
#include "platform/linux/socket/ServiceSocket.h"
#include "platform/linux/socket/server/SocketListener.h"
#include "platform/posix/Containment.h"
#include "platform/posix/StandardStreams.h"

namespace kelo {
namespace {

constexpr std::chrono::seconds listenerPatience(2);

} // namespace

LinuxPlatform::LinuxPlatform()
    : exchange_(folder_.descriptor()), fanSystem_(folder_), power_(folder_.descriptor(), loop_),
      clamshell_(folder_.descriptor()), fileEvents_(loop_), signals_(loop_),
      anchor_(folder_.descriptor(), SimulatedMacFolder::anchorName),
      signing_(anchor_, [](const std::string& reason) { reportFault("the helper's signature", reason.c_str()); }) {}

LinuxPlatform::~LinuxPlatform() = default;

std::unique_ptr<SystemLog> LinuxPlatform::makeSystemLog(const std::string& subsystem, const std::string& category) {
    return std::make_unique<SyslogSystemLog>(subsystem, category);
}

std::unique_ptr<Listener> LinuxPlatform::makeListener(const std::string& machServiceName) {
    const auto checkPeer = [check = PeerCodeCheck(anchor_)](int socket, const std::string& requirement) {
        return check.check(socket, requirement);
    };
    // Only the system's log is told: standard error holds what the helper itself has to say.
    const auto log = std::make_shared<SyslogSystemLog>(machServiceName, "listener");
    auto listener =
        std::make_unique<SocketListener>(folder_.descriptor(), serviceSocketName(machServiceName), checkPeer,
                                         [log](const std::string& reason) { log->write(LogLevel::error, reason); });
    listener_ = listener.get();
    return listener;
}

double LinuxPlatform::wallClock() {
    return std::chrono::duration<double>(std::chrono::system_clock::now().time_since_epoch()).count();
}

void LinuxPlatform::writeStandardError(const std::string& bytes) { StandardStreams::writeError(bytes); }

void LinuxPlatform::runMainLoop() { loop_.run(); }

void LinuxPlatform::exit(int status) {
    // The listener's thread must not be at work while the process's statics are destroyed; one that is stuck is left
    // behind, with the statics.
    if (listener_ != nullptr && !listener_->stopsWithin(listenerPatience))
        std::_Exit(status);
    std::exit(status);
}

std::unique_ptr<Platform> makePlatform() {
    StandardStreams::prepare(); // first: the platform's descriptors must not take the place of a closed standard error
    return std::make_unique<LinuxPlatform>();
}

} // namespace kelo
