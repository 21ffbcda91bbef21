#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "helper/Listener.h"
#include "protocol/KeloHelperProtocol.h"

namespace kelo {

/// The five requests, noted and replied to as the test says. Any thread.
class ScriptedHelper : public KeloHelperProtocol {
public:
    // Set before a request comes.
    std::optional<Data> snapshot;
    std::optional<std::string> error;
    std::int64_t version = 6;
    /// What is done with a reply: calls it, calls it later, or lets it go.
    std::function<void(std::function<void()> reply)> answer = [](const std::function<void()>& reply) { reply(); };

    void fetchSnapshot(DataReply reply) override {
        note("fetchSnapshot");
        answer([this, reply] { reply(snapshot); });
    }
    void hold(double fraction, bool handsBackOnLidClose, ErrorReply reply) override {
        {
            const std::lock_guard lock(mutex_);
            holds_.emplace_back(fraction, handsBackOnLidClose);
        }
        note("hold");
        answer([this, reply] { reply(error); });
    }
    void handBack(ErrorReply reply) override {
        note("handBack");
        answer([this, reply] { reply(error); });
    }
    void helperVersion(VersionReply reply) override {
        note("helperVersion");
        answer([this, reply] { reply(version); });
    }
    void standDown(EmptyReply reply) override {
        note("standDown");
        answer([reply] { reply(); });
    }

    std::vector<std::string> requests() const {
        const std::lock_guard lock(mutex_);
        return requests_;
    }
    std::vector<std::pair<double, bool>> holds() const {
        const std::lock_guard lock(mutex_);
        return holds_;
    }
    /// The thread that brought the last request.
    std::thread::id broughtBy() const {
        const std::lock_guard lock(mutex_);
        return broughtBy_;
    }

private:
    void note(const std::string& request) {
        const std::lock_guard lock(mutex_);
        requests_.push_back(request);
        broughtBy_ = std::this_thread::get_id();
    }

    mutable std::mutex mutex_;
    std::vector<std::string> requests_;
    std::vector<std::pair<double, bool>> holds_;
    std::thread::id broughtBy_;
};

/// Accepts every connection and exports one object on it, or refuses. Any thread.
class ScriptedAdmission {
public:
    explicit ScriptedAdmission(std::shared_ptr<KeloHelperProtocol> helper) : helper_(std::move(helper)) {}

    /// As a listener takes it.
    ConnectionAdmission callable() {
        return [this](IncomingConnection& connection) { return shouldAcceptNewConnection(connection); };
    }

    bool isAccepting = true; ///< Set before a connection comes.
    /// Held by the handlers of every connection; set before one comes.
    std::shared_ptr<int> heldByHandlers = std::make_shared<int>();

    bool shouldAcceptNewConnection(IncomingConnection& connection) {
        {
            const std::lock_guard lock(mutex_);
            ++asked_;
            askedOn_ = std::this_thread::get_id();
        }
        if (!isAccepting)
            return false;
        connection.exportObject(helper_);
        connection.setInvalidationHandler([this, held = heldByHandlers] { count(ended_); });
        connection.setInterruptionHandler([this, held = heldByHandlers] { count(interrupted_); });
        connection.resume();
        return true;
    }

    int asked() const { return value(asked_); }
    int ended() const { return value(ended_); }
    int interrupted() const { return value(interrupted_); }
    std::thread::id askedOn() const {
        const std::lock_guard lock(mutex_);
        return askedOn_;
    }

private:
    void count(int& counter) {
        const std::lock_guard lock(mutex_);
        ++counter;
    }
    int value(const int& counter) const {
        const std::lock_guard lock(mutex_);
        return counter;
    }

    const std::shared_ptr<KeloHelperProtocol> helper_;
    mutable std::mutex mutex_;
    int asked_ = 0;
    int ended_ = 0;
    int interrupted_ = 0;
    std::thread::id askedOn_;
};

} // namespace kelo
