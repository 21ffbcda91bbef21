#pragma once

#include <chrono>
#include <memory>
#include <optional>

#include "platform/linux/hardware/MacTimeouts.h"
#include "simulator/link/HardwareLink.h"

namespace kelo {

/// A link to the simulated Mac that is made anew after a call that failed, so that a Mac that hung or was restarted is
/// there again. One thread.
class LastingLink {
public:
    /// `folder` is borrowed, an open descriptor.
    LastingLink(int folder, const MacTimeouts& timeouts) : folder_(folder), timeouts_(timeouts) {}

    /// Connects anew. Returns whether a Mac is there and accepts it.
    bool connect() noexcept;
    void disconnect() noexcept { link_.reset(); }

    /// Makes a call, on a new link if need be. A Mac that hangs up on it has perhaps been restarted: the call is made
    /// once more, so it may be done twice. None when it failed.
    template <typename Call>
    std::optional<typename Call::Answer> call(const Call& call) noexcept {
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
    typename Call::Answer attempt(const Call& call) {
        prepare();
        auto answer = link_->call(call);
        hungUntil_ = {};
        return answer;
    }
    /// Throws `CallFailed` when there is no link to be had.
    void prepare();
    bool isTakenToHang() const { return Clock::now() < hungUntil_; }
    void rememberHanging();

    const int folder_;
    const MacTimeouts timeouts_;
    std::unique_ptr<HardwareLink> link_; ///< Null while there is none.
    Clock::time_point hungUntil_;
};

} // namespace kelo
