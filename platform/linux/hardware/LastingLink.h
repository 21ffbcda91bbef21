#pragma once

#include <chrono>
#include <memory>
#include <optional>
#include <utility>

#include "platform/linux/hardware/MacTimeouts.h"
#include "simulator/link/MacConnection.h"

namespace kelo {

/// A link to the simulated Mac, a `ControllerLink` or a `LidLink`, that is made anew after a call that failed, so
/// that a Mac that hung or was restarted is there again. One thread.
template <typename Link>
class LastingLink {
public:
    /// `folder` is borrowed, an open descriptor.
    LastingLink(int folder, const MacTimeouts& timeouts) : folder_(folder), timeouts_(timeouts) {}

    /// Connects anew. Returns whether a Mac is there and accepts it.
    bool connect() noexcept {
        disconnect();
        try {
            link_ = Link::connect(folder_, timeouts_.retry);
        } catch (...) { // the Mac accepts nobody, or there is no descriptor or no memory left
        }
        return link_ != nullptr;
    }

    void disconnect() noexcept { link_.reset(); }

    /// Makes a call, on a new link if need be. A Mac that hangs up on it has perhaps been restarted: the call is made
    /// once more, so it may be done twice. None when it failed.
    template <typename Call>
    auto call(const Call& call) noexcept -> std::optional<decltype(std::declval<Link&>().call(call))> {
        try {
            try {
                return attempt(call);
            } catch (const MacHasGone&) {
                disconnect();
                return attempt(call);
            }
        } catch (const MacHangs&) {
            rememberHanging();
        } catch (...) { // it was refused or not understood, or no memory is left for it
        }
        disconnect();
        return std::nullopt;
    }

private:
    using Clock = std::chrono::steady_clock;

    template <typename Call>
    auto attempt(const Call& call) {
        prepare();
        auto answer = link_->call(call);
        hungUntil_.reset();
        return answer;
    }

    /// Throws `CallFailed` when there is no link to be had.
    void prepare() {
        if (!link_)
            link_ = Link::connect(folder_, timeouts_.retry);
        if (!link_)
            throw CallFailed("No simulated Mac is there.");
        link_->setTimeout(isTakenToHang() ? timeouts_.retry : timeouts_.answer);
    }

    bool isTakenToHang() const { return hungUntil_ && Clock::now() < *hungUntil_; }

    /// Not prolonged by the calls that follow, so that a Mac that is only slow is heard again in the end.
    void rememberHanging() {
        if (!isTakenToHang())
            hungUntil_ = Clock::now() + timeouts_.memory;
    }

    const int folder_;
    const MacTimeouts timeouts_;
    std::unique_ptr<Link> link_; ///< Null while there is none.
    std::optional<Clock::time_point> hungUntil_;
};

} // namespace kelo
