#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <mutex>
#include <thread>

#include "client/HelperConnection.h"
#include "core/smc/smc.h"
#include "helper/HelperProcess.h"
#include "platform/macos/MacPlatform.h"
#include "simulator/model/Profile.h"
#include "tests/platform/macos/doubles/DispatchDouble.h"
#include "tests/platform/macos/doubles/IOKitDouble.h"
#include "tests/platform/macos/doubles/LogDouble.h"
#include "tests/platform/macos/doubles/OnDoubles.h"
#include "tests/platform/macos/doubles/PosixDouble.h"
#include "tests/platform/macos/doubles/SecurityDouble.h"
#include "tests/platform/macos/doubles/XPCDouble.h"

namespace kelo {
namespace {

using doubles::journal;
using doubles::kernel;
using doubles::logEntries;
using doubles::mainLoop;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::Not;

/// Runs the whole daemon on the macOS platform, with test doubles and a simulated controller.
class HelperOnMacPlatform : public doubles::OnDoubles {
protected:
    HelperOnMacPlatform() {
        Profile::all().front().defineKeys(controller);
        kernel().driver = [this](const void* request, void* reply) { return drive(request, reply); };
        doubles::ownSignature().team = "TEAM";
        std::ofstream(executable) << "the helper";
        doubles::setOwnPath(executable);
    }
    ~HelperOnMacPlatform() override {
        doubles::endConnections(); // whose handlers use the process and the platform
        doubles::settleXPC();
        mainLoop().runFor(0);
        smc_close();
        smc_set_exchange(nullptr);
        std::filesystem::remove_all(folder);
    }

    kern_return_t drive(const void* request, void* reply) {
        SMCKeyData record{};
        std::memcpy(&record, request, sizeof record);
        const auto answer = controller.exchange(record);
        if (!answer)
            return kIOReturnError;
        std::memcpy(reply, &*answer, sizeof *answer);
        return KERN_SUCCESS;
    }

    /// Starts the process and runs the loop until its stop signals are delivered and it listens.
    void start() {
        process = std::make_unique<HelperProcess>(*platform);
        process->start();
        mainLoop().runFor(0);
    }

    /// Runs `client` on a separate thread while the main loop runs.
    void serve(const std::function<void()>& client) {
        std::atomic<bool> isDone = false;
        std::thread thread([&] {
            client();
            isDone = true;
        });
        EXPECT_TRUE(mainLoop().runUntil([&] { return isDone.load(); }));
        thread.join();
    }

    std::vector<std::string> messages() {
        std::vector<std::string> texts;
        for (const auto& entry : logEntries())
            texts.push_back(entry.text);
        return texts;
    }

    bool isAnyManual() { return controller.number("F0Md") != 0 || controller.number("F1Md") != 0; }

    const std::string folder = [] {
        std::string name = std::filesystem::temp_directory_path() / "kelo-helper-XXXXXX";
        return std::string(mkdtemp(name.data()));
    }();
    const std::string executable = folder + "/app.kelo.helper";
    SimulatedController controller{[] { return mainLoop().now(); }};
    std::shared_ptr<const Platform> platform = makePlatform();
    std::unique_ptr<HelperProcess> process;
};

TEST_F(HelperOnMacPlatform, StartsInAFixedOrder) {
    doubles::journalFiles(true);
    journal().take();
    start();
    doubles::journalFiles(false);
    auto calls = journal().take();
    std::erase_if(calls, [](const std::string& call) {
        // Ignores the controller's exchanges, the setup of sources, and the calls by which the log examines standard
        // error.
        return call.starts_with("IOConnectCallStructMethod") || call.starts_with("dispatch_s") ||
               call.starts_with("open /dev/fd/2") || call == "close";
    });
    const std::string requirement =
        R"(anchor apple generic and identifier "app.kelo.Kelo" and certificate leaf[subject.OU] = "TEAM")";
    std::vector<std::string> expected = {"os_log_create app.kelo.helper listener",
                                         "os_log_create app.kelo.helper service", //
                                         "IOServiceMatching AppleSMC",
                                         "IOServiceGetMatchingService AppleSMC",
                                         "IOServiceOpen AppleSMC own task type 0",
                                         "IOObjectRelease AppleSMC", //
                                         "IORegisterForSystemPower",
                                         "IONotificationPortGetRunLoopSource",
                                         "CFRunLoopAddSource main default", //
                                         "proc_pidpath own 4096",
                                         "stat " + executable,
                                         "open " + executable + " 0x8000",
                                         "dispatch_activate", //
                                         "NSXPCListener initWithMachServiceName app.kelo.helper",
                                         "NSXPCListener setDelegate", //
                                         "SecCodeCopySelf flags 0",
                                         "SecCodeCopyStaticCode flags 0",
                                         "SecCodeCopySigningInformation flags 2",
                                         "SecRequirementCreateWithString " + requirement + " flags 0",
                                         "NSXPCListener setConnectionCodeSigningRequirement " + requirement};
    for (const int signal : {SIGTERM, SIGINT, SIGHUP, SIGQUIT, SIGXCPU, SIGUSR1, SIGUSR2, SIGALRM})
        expected.insert(expected.end(), {"signal " + std::to_string(signal) + " ignore", "dispatch_activate"});
    expected.emplace_back("NSXPCListener resume");
    EXPECT_EQ(calls, expected);
    EXPECT_THAT(messages(),
                ElementsAre("Accepting only app.kelo.Kelo signed by TEAM.", "Listening on app.kelo.helper"));
}

TEST_F(HelperOnMacPlatform, RepliesFromTheMainThreadExceptForTheVersion) {
    start();
    serve([] {
        const auto client = connectToHelper();
        EXPECT_EQ(client->ask(requests::HelperVersion{}), 6);
        EXPECT_TRUE(client->ask(requests::FetchSnapshot{}).has_value());
        EXPECT_EQ(client->ask(requests::Hold{0.5, true}), std::nullopt);
        EXPECT_EQ(client->ask(requests::HandBack{}), std::nullopt);
    });
    EXPECT_THAT(doubles::replyOrigins(), ElementsAre("XPC queue", "main thread", "main thread", "main thread"));
}

TEST_F(HelperOnMacPlatform, HandsTheFansBackForSleepAndResumesTheHoldAfterWaking) {
    start();
    std::unique_ptr<HelperConnection> client;
    serve([&] {
        client = connectToHelper();
        EXPECT_EQ(client->ask(requests::Hold{0.5, false}), std::nullopt);
    });
    EXPECT_TRUE(isAnyManual());
    doubles::sendPowerMessage(0xE0000280, 42);
    bool wasManualWhenAllowed = true;
    mainLoop().post(0, [&] { wasManualWhenAllowed = isAnyManual(); });
    mainLoop().runFor(0);
    EXPECT_FALSE(wasManualWhenAllowed);
    EXPECT_THAT(kernel().allowed, ElementsAre(42));
    doubles::sendPowerMessage(0xE0000300, 0);
    mainLoop().runFor(0);
    EXPECT_TRUE(isAnyManual());
    client.reset();
    doubles::settleXPC();
    mainLoop().runFor(9); // past the grace period
}

TEST_F(HelperOnMacPlatform, HandsTheFansBackIfSleepIsAnnouncedWhileAHoldStarts) {
    start();
    std::unique_ptr<HelperConnection> client;
    serve([&] {
        client = connectToHelper();
        platform->machine.queue.post([] { doubles::sendPowerMessage(0xE0000280, 42); });
        EXPECT_EQ(client->ask(requests::Hold{0.5, false}), std::nullopt);
    });
    mainLoop().runFor(0);
    EXPECT_THAT(kernel().allowed, ElementsAre(42));
    EXPECT_FALSE(isAnyManual());
}

TEST_F(HelperOnMacPlatform, KeepsTheHoldIfAClientReturnsWhileTheMainThreadIsBusy) {
    start();
    std::unique_ptr<HelperConnection> client;
    const auto connect = [&client] {
        client = connectToHelper();
        EXPECT_EQ(client->ask(requests::HelperVersion{}), 6);
    };
    serve([&] {
        connect();
        EXPECT_EQ(client->ask(requests::Hold{0.5, false}), std::nullopt);
    });
    client.reset();
    doubles::settleXPC();
    mainLoop().runFor(7.5);
    platform->machine.queue.post([&] {
        std::thread(connect).join();
        mainLoop().block(2); // past the grace period
    });
    mainLoop().runFor(60);
    EXPECT_TRUE(isAnyManual());
    EXPECT_THAT(messages(), Not(Contains("Fan handed back to macOS after the client went away.")));
    client.reset();
    doubles::settleXPC();
    mainLoop().runFor(9);
    EXPECT_FALSE(isAnyManual());
}

TEST_F(HelperOnMacPlatform, RefusesAHoldUnlessRunAsRoot) {
    doubles::setEffectiveUser(501);
    start();
    serve([] { EXPECT_NE(connectToHelper()->ask(requests::Hold{0.5, false}), std::nullopt); });
    EXPECT_FALSE(isAnyManual());
}

// Each of these tests runs the exit in a separate process, which prints whether a fan is still in manual mode.

class HelperExit : public HelperOnMacPlatform {
protected:
    void startWithHold() {
        start();
        serve([&] {
            client = connectToHelper();
            client->ask(requests::Hold{0.5, false});
        });
        on_exit(
            [](int status, void* test) {
                std::fputs(static_cast<HelperExit*>(test)->isAnyManual() ? "FORCED\n" : "AUTOMATIC\n", stderr);
                _exit(status); // memory in use until the exit is not a leak
            },
            this);
        if (!isAnyManual())
            std::_Exit(99);
    }

    std::unique_ptr<HelperConnection> client;
};

TEST_F(HelperExit, ASignalHandsTheFansBackAndExitsWithZero) {
    for (const int signal : {SIGTERM, SIGINT, SIGHUP, SIGQUIT, SIGXCPU, SIGUSR1, SIGUSR2, SIGALRM})
        EXPECT_EXIT(
            {
                startWithHold();
                doubles::raiseSignal(signal);
                mainLoop().runFor(0);
            },
            ::testing::ExitedWithCode(0), "Asked to stop.*\n.*hold: released.*\n.*Handed the fan back.*\nAUTOMATIC");
}

TEST_F(HelperExit, RepliesAtOnceToAStandDownRequestAndHandsTheFansBack) {
    EXPECT_EXIT(
        {
            startWithHold();
            serve([&] { client->ask(requests::StandDown{}); });
            if (doubles::replyOrigins().back() != "XPC queue")
                std::_Exit(98);
            doubles::settleXPC(); // until the events after the reply have run
            mainLoop().runFor(0.4);
        },
        ::testing::ExitedWithCode(0), "Handed the fan back.*\nAUTOMATIC");
}

} // namespace
} // namespace kelo
