#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <stdexcept>
#include <string>
#include <thread>
#include <type_traits>
#include <utility>
#include <vector>

#include "helper/Listener.h"
#include "protocol/KeloHelper.h"
#include "protocol/KeloHelperProtocol.h"

namespace kelo {

/// Records requests and replies to them as the test decides. Any thread.
class ScriptedHelper : public KeloHelperProtocol {
public:
    // Set these before a request arrives.
    std::optional<Data> snapshot;
    std::optional<std::string> error;
    std::int64_t version = KeloHelper::interfaceVersion;
    /// Decides whether a reply is sent at once, later or never.
    std::function<void(std::function<void()> reply)> answer = [](const std::function<void()>& reply) { reply(); };

    /// From now on, keeps every reply until the test sends or drops it.
    void keepReplies() {
        answer = [this](std::function<void()> reply) {
            const std::lock_guard lock(mutex_);
            kept_.push_back(std::move(reply));
        };
    }
    std::size_t kept() const {
        const std::lock_guard lock(mutex_);
        return kept_.size();
    }
    void waitForKept(std::size_t count) const {
        while (kept() < count)
            std::this_thread::yield();
    }
    /// Returns the number of replies sent.
    std::size_t sendKept() {
        const auto kept = takeKept();
        for (const auto& reply : kept)
            reply();
        return kept.size();
    }
    void dropKept() { takeKept(); }

    void perform(requests::AnyCall call) override {
        std::visit(
            [this](const auto& made) {
                note(made.request);
                answer([this, reply = made.reply] { this->reply(reply); });
            },
            call);
    }

    /// The selectors of the requests, truncated before "With".
    std::vector<std::string> requests() const {
        const std::lock_guard lock(mutex_);
        return requests_;
    }
    std::vector<std::pair<double, bool>> holds() const {
        const std::lock_guard lock(mutex_);
        return holds_;
    }
    /// The thread of the last request.
    std::thread::id broughtBy() const {
        const std::lock_guard lock(mutex_);
        return broughtBy_;
    }

private:
    template <typename Request>
    void note(const Request& request) {
        const std::lock_guard lock(mutex_);
        const std::string selector = Request::selector;
        requests_.push_back(selector.substr(0, selector.find("With")));
        if constexpr (std::is_same_v<Request, requests::Hold>)
            holds_.emplace_back(request.fraction, request.handsBackOnLidClose);
        broughtBy_ = std::this_thread::get_id();
    }

    void reply(const std::function<void(std::optional<Data>)>& reply) const { reply(snapshot); }
    void reply(const std::function<void(std::optional<std::string>)>& reply) const { reply(error); }
    void reply(const std::function<void(std::int64_t)>& reply) const { reply(version); }
    void reply(const std::function<void(requests::Nothing)>& reply) const { reply({}); }

    std::vector<std::function<void()>> takeKept() {
        const std::lock_guard lock(mutex_);
        return std::exchange(kept_, {});
    }

    mutable std::mutex mutex_;
    std::vector<std::function<void()>> kept_;
    std::vector<std::string> requests_;
    std::vector<std::pair<double, bool>> holds_;
    std::thread::id broughtBy_;
};

/// Accepts every connection and exports one object on it. On request, refuses connections or throws. Any thread.
class ScriptedAdmission {
public:
    explicit ScriptedAdmission(std::shared_ptr<KeloHelperProtocol> helper) : helper_(std::move(helper)) {}

    /// Returns the admission as a callable for a listener.
    ConnectionAdmission callable() {
        return [this](IncomingConnection& connection) { return shouldAcceptNewConnection(connection); };
    }

    bool isAccepting = true; ///< Set before a connection arrives.
    std::atomic<bool> throws = false;
    /// Captured by the handlers of every connection; set before a connection arrives.
    std::shared_ptr<int> heldByHandlers = std::make_shared<int>();

    bool shouldAcceptNewConnection(IncomingConnection& connection) {
        {
            const std::lock_guard lock(mutex_);
            ++asked_;
            askedOn_ = std::this_thread::get_id();
        }
        if (throws)
            throw std::runtime_error("broken");
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
