#pragma once

#include <deque>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "core/fan/Rights.h"
#include "core/hold/PowerNotifications.h"
#include "core/queue/MainQueue.h"
#include "core/smc/SMCExchange.h"
#include "core/watch/FileEvents.h"
#include "helper/Listener.h"
#include "helper/Platform.h"
#include "helper/Signals.h"
#include "protocol/KeloHelperProtocol.h"
#include "protocol/SigningInformation.h"
#include "prove/reference/Reference.h"

namespace kelo {

/// The model of the daemon on a platform, where it takes the place of `HelperProcess`.
class ModelProcess : private reference::Outside {
public:
    /// Makes one and starts it, for `Daemon`.
    static std::shared_ptr<void> start(const Platform& platform);

    explicit ModelProcess(const Platform& platform) : platform_(platform) {}

private:
    std::uint32_t openController() override { return platform_.machine.exchange.open(); }
    bool exchange(std::uint32_t connection, const reference::Record& in, reference::Record& out) override;
    void closeController(std::uint32_t connection) override { platform_.machine.exchange.close(connection); }
    std::int64_t nowNanoseconds() override;
    void sleepMicroseconds(std::uint32_t microseconds) override;
    bool isRoot() override { return platform_.machine.rights.isRoot(); }
    void exit(int status) override { platform_.exit(status); }
    void post(std::function<void()> work) override { platform_.machine.queue.post(std::move(work)); }
    reference::LidProperty lidProperty() override;
    bool registerForPower() override;
    void allowPowerChange(std::intptr_t id) override { power_->allowPowerChange(id); }
    std::optional<std::string> ownExecutable() override { return platform_.files.ownExecutable(); }
    std::optional<reference::FileIdentity> identify(const std::string& path) override;
    bool watch(const std::string& path) override;
    void cancelFileWatch() override { watch_->cancel(); }
    std::optional<std::string> ownTeam() override { return platform_.signing.teamIdentifier(); }
    void createListener(const std::string& serviceName) override;
    void setRequirement(const std::string& requirement) override;
    void resumeListener() override { static_cast<void>(listener_->resume()); }
    void acceptConnection() override;
    void makeSignalSource(int number) override;
    void armTimer(reference::Timer which, double delaySeconds, bool isRepeating) override;
    void cancelTimer(reference::Timer which) override { timers_.erase(which); }
    void log(const std::string& category, reference::Level level, const std::string& text) override;
    void replyVersion(reference::RequestId request, std::int64_t version) override { reply(request, version); }
    void replySnapshot(reference::RequestId request, const std::optional<reference::Snapshot>& snapshot) override;
    void replyError(reference::RequestId request, const std::optional<std::string>& text) override {
        reply(request, text);
    }
    void replyEmpty(reference::RequestId request) override { reply(request, requests::Nothing{}); }

    class Requests;

    bool admit(IncomingConnection& connection);
    void perform(requests::AnyCall call);
    template <typename Answer>
    void reply(reference::RequestId request, const Answer& answer);

    const Platform& platform_;
    std::unique_ptr<PowerRegistration> power_;
    std::unique_ptr<FileEventSource> watch_;
    std::unique_ptr<Listener> listener_;
    IncomingConnection* arriving_ = nullptr; ///< Null again once it is accepted.
    std::vector<std::unique_ptr<SignalSource>> signals_;
    std::map<reference::Timer, std::unique_ptr<Timer>> timers_;
    std::deque<requests::AnyCall> calls_; ///< By the number of the request.
    reference::Model model_{*this};
};

} // namespace kelo
