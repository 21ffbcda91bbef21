#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <thread>

#include "platform/linux/loop/EventLoop.h"
#include "simulator/link/HardwareLink.h"
#include "simulator/server/HardwareServer.h"
#include "testing/MacFolder.h"

namespace kelo {

/// The simulated Mac's server, on a separate thread.
class MacUnderTest {
public:
    MacUnderTest() : thread_([this] { loop_.run(); }) {}
    ~MacUnderTest() { remove(); }

    int folder() const { return folder_.descriptor(); }

    void remove() {
        if (!thread_.joinable())
            return;
        loop_.stop();
        thread_.join();
        server_.reset();
    }

    /// Makes one call and returns its answer. Throws `CallFailed`.
    template <typename Call>
    typename Call::Answer call(const Call& call) const {
        const auto link = HardwareLink::connect(folder());
        return link ? link->call(call) : throw CallFailed("No simulated Mac is there.");
    }
    void drive(const auto& command) const { EXPECT_NO_THROW(call(command)) << command.name; }
    /// Makes a call. Returns the reason why the Mac refuses it, or an empty string.
    std::string refusal(const auto& refused) const {
        try {
            call(refused);
            return "";
        } catch (const CallFailed& error) {
            return error.what();
        }
    }

private:
    MacFolder folder_;
    EventLoop loop_;
    std::unique_ptr<HardwareServer> server_ =
        std::make_unique<HardwareServer>(loop_, folder_.descriptor(), *Profile::named("laptop"), 1.0);
    std::thread thread_;
};

} // namespace kelo
