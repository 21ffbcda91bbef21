#pragma once

#include <fcntl.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <memory>
#include <thread>

#include "platform/linux/loop/EventLoop.h"
#include "platform/posix/FileDescriptor.h"
#include "simulator/link/HardwareLink.h"
#include "simulator/server/HardwareServer.h"
#include "tests/support/TemporaryFolder.h"

namespace kelo {

/// A folder that a simulated Mac listens in; any user may look into it.
class MacFolder {
public:
    MacFolder() { std::filesystem::permissions(temporary_.path(), std::filesystem::perms(0755)); }

    int descriptor() const { return folder_.get(); }

private:
    TemporaryFolder temporary_;
    FileDescriptor folder_{open(temporary_.path().c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC)};
};

/// The simulated Mac as it serves real helpers, on a thread.
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

    /// The answer to one call; null when there was none.
    Message call(const Message& call) const {
        const auto link = HardwareLink::connect(folder());
        return link ? link->call(call).value_or(Message()) : Message();
    }
    void drive(const Message& command) const { EXPECT_EQ(call(command), Message::object()) << command; }

private:
    MacFolder folder_;
    EventLoop loop_;
    std::unique_ptr<HardwareServer> server_ =
        std::make_unique<HardwareServer>(loop_, folder_.descriptor(), *Profile::named("laptop"), 1.0);
    std::thread thread_;
};

} // namespace kelo
