#pragma once

#include <functional>
#include <future>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <utility>

#include "client/HelperConnection.h"
#include "protocol/KeloHelperProtocol.h"

namespace kelo {

/// Connects a client and the object that serves it in one process. As with a real transport, each request runs on a
/// separate thread and waits for its reply. A dropped reply ends the wait, as a broken connection does.
class LoopbackConnection : public HelperConnection {
public:
    /// Calls `onEnd` once, when either end disconnects.
    LoopbackConnection(std::shared_ptr<KeloHelperProtocol> object, std::function<void(LoopbackConnection&)> onEnd)
        : object_(std::move(object)), onEnd_(std::move(onEnd)) {}
    ~LoopbackConnection() override { end(); }

    /// Ends the connection as if the helper's process had ended. Any thread.
    void end() {
        std::function<void(LoopbackConnection&)> onEnd;
        {
            const std::lock_guard lock(mutex_);
            isEnded_ = true;
            if (const auto giveUp = std::exchange(giveUp_, nullptr))
                giveUp();
            onEnd = std::exchange(onEnd_, nullptr);
        }
        if (onEnd)
            onEnd(*this);
    }

    void perform(const requests::AnyCall& call) override {
        std::visit(
            [this]<typename Request>(const requests::Call<Request>& made) {
                made.reply(answerTo<typename Request::Answer>([&](auto reply) {
                    object_->perform(requests::Call{made.request, std::move(reply)});
                }));
            },
            call);
    }

private:
    template <typename Value>
    Value answerTo(const std::function<void(std::function<void(Value)>)>& request) {
        auto promise = std::make_shared<std::promise<Value>>();
        auto answer = promise->get_future();
        {
            const std::lock_guard lock(mutex_);
            if (isEnded_)
                throw HelperUnreachable("The helper has closed the connection.");
            giveUp_ = [waiting = std::weak_ptr(promise)] {
                if (const auto live = waiting.lock())
                    settle([&] {
                        live->set_exception(std::make_exception_ptr(HelperUnreachable("The helper has gone.")));
                    });
            };
        }
        std::function<void(Value)> reply = [promise = std::move(promise)](Value value) {
            settle([&] { promise->set_value(std::move(value)); });
        };
        std::thread([&] { request(std::move(reply)); }).join();
        try {
            return answer.get();
        } catch (const std::future_error&) {
            throw HelperUnreachable("The helper has dropped the request.");
        }
    }

    /// Runs `step`, which settles a request by its reply or by the end of the connection. Ignores the second of the
    /// two.
    template <typename Step>
    static void settle(Step step) {
        try {
            step();
        } catch (const std::future_error&) {
            return;
        }
    }

    const std::shared_ptr<KeloHelperProtocol> object_;
    std::mutex mutex_; ///< Guards the members below.
    std::function<void(LoopbackConnection&)> onEnd_;
    std::function<void()> giveUp_; ///< Ends the wait of the current request.
    bool isEnded_ = false;
};

} // namespace kelo
