#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>

namespace kelo {

/// Checks that a reply is called exactly once: the test fails if the last copy of the reply is destroyed uncalled, or
/// if a second call is made.
template <typename Answer>
class ReplyProbe {
public:
    explicit ReplyProbe(std::string name = "a reply") : result_(std::make_shared<Result>()), name_(std::move(name)) {}

    /// Creates the reply to pass on. Call once.
    std::function<void(Answer)> reply() {
        return [call = std::make_shared<Call>(result_, name_)](Answer answer) { call->answer(std::move(answer)); };
    }

    bool isAnswered() const { return result_->answer.has_value(); }

    /// Call only after the reply has been called.
    const Answer& value() const { return result_->answer.value(); }

    void onAnswer(std::function<void()> action) { result_->onAnswer = std::move(action); }

private:
    struct Result {
        std::optional<Answer> answer;
        std::function<void()> onAnswer = [] {};
    };

    /// Shared by all copies of the reply.
    class Call {
    public:
        Call(std::shared_ptr<Result> result, std::string name) : result_(std::move(result)), name_(std::move(name)) {}
        Call(const Call&) = delete;
        Call& operator=(const Call&) = delete;
        ~Call() {
            if (calls_ == 0)
                ADD_FAILURE() << name_ << " was dropped uncalled";
        }
        void answer(Answer answer) {
            if (++calls_ > 1) {
                ADD_FAILURE() << name_ << " was called " << calls_ << " times";
                return;
            }
            result_->answer.emplace(std::move(answer));
            result_->onAnswer();
        }

    private:
        std::shared_ptr<Result> result_;
        std::string name_;
        int calls_ = 0;
    };

    std::shared_ptr<Result> result_;
    std::string name_;
};

} // namespace kelo
