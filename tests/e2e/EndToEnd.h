#pragma once

#include <gmock/gmock.h>

#include <algorithm>
#include <csignal>
#include <cstddef>
#include <ctime>
#include <filesystem>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "platform/linux/socket/RequestRecords.h"
#include "testing/TemporaryFolder.h"
#include "testing/process/Installation.h"
#include "testing/process/RawClient.h"

namespace kelo {

using Lines = std::vector<std::string>;

/// An installation in a separate folder, with signed executables that run as real processes on a simulated Mac.
class EndToEnd : public ::testing::Test {
protected:
    static constexpr const char* team = "ABCDE12345";
    static constexpr const char* appIdentifier = "app.kelo.Kelo";
    static constexpr const char* disconnected =
        "[NOTICE] service: Last client disconnected; handing the fan back shortly.";
    static constexpr const char* noLink =
        "[ERROR] hardware: There was no link to the controller on the way out, so a fan may still be in manual mode.";
    static constexpr const char* handedBack = "[NOTICE] service: Fan handed back to macOS after the client went away.";

    EndToEnd() {
        install(KELO_HELPER, Installation::helperName);
        install(KELO_CLIENT, "kelo");
        install(KELO_SIMMAC, "simmac");
        install(KELO_SIMSIGN, "simsign");
        install(KELO_RAWCLIENT, "rawclient");
        std::filesystem::create_directory(installation.program("simulated-mac"));
        std::filesystem::permissions(installation.program("simulated-mac"), std::filesystem::perms(0700));
        simsign({"init", "keys", "--team", team});
        std::filesystem::copy(installation.program("keys/anchor.pub"),
                              installation.program("simulated-mac/anchor.pub"));
        sign(Installation::helperName, Installation::helperName);
        sign("kelo", appIdentifier);
        sign("rawclient", appIdentifier);
    }

    void install(const std::string& built, const std::string& name) {
        std::filesystem::copy_file(built, installation.program(name),
                                   std::filesystem::copy_options::overwrite_existing);
    }
    void simsign(Lines arguments) {
        // The names of key folders are relative to the installation.
        for (auto& argument : arguments)
            if (argument == "keys" || argument == "foreign")
                argument = installation.program(argument);
        const auto [status, output, errors] = installation.run("simsign", arguments);
        ASSERT_EQ(status, 0) << errors;
    }
    void sign(const std::string& program, const std::string& identifier, const std::string& byTeam = team,
              const std::string& keys = "keys") {
        simsign({"sign", installation.program(program), "--identifier", identifier, "--team", byTeam, "--keys", keys});
    }

    /// Installs an additional, unsigned client program.
    void addClient(const std::string& name) { install(KELO_RAWCLIENT, name); }

    void startEverything(const Lines& macOptions = {}) {
        installation.startMac(macOptions);
        installation.startListeningHelper();
    }

    /// Starts a client and waits until its hold is in force.
    std::unique_ptr<ChildProcess> startHold(const std::string& fraction = "0.5", const Lines& options = {}) {
        Lines arguments = {"hold", fraction};
        arguments.insert(arguments.end(), options.begin(), options.end());
        auto client = installation.start("kelo", arguments);
        EXPECT_TRUE(waitUntil([&] { return client->output().find("Holding") != std::string::npos; }, 20))
            << client->errors();
        return client;
    }

    std::unique_ptr<RawClient> startRawClient(const std::string& program = "rawclient") {
        return std::make_unique<RawClient>(installation, program);
    }
    std::unique_ptr<RawClient> connectRawClient() {
        auto client = startRawClient();
        EXPECT_TRUE(client->connect());
        return client;
    }

    /// Returns the number of times that the value (such as 1) was written to the key (such as "Ftst").
    std::ptrdiff_t countWrites(const std::string& key, int value) {
        const auto writes = installation.mac()["writes"];
        return std::count_if(writes.begin(), writes.end(),
                             [&](const auto& write) { return write["key"] == key && write["bytes"][0] == value; });
    }
    /// Waits until the value has been written `count` times.
    bool waitForWrite(const std::string& key, int value, std::ptrdiff_t count = 1) {
        return waitUntil([&] { return countWrites(key, value) >= count; }, 10);
    }

    /// Returns the time stamps, in whole seconds, of all lines with this text in the helper's log. Unlike the time when
    /// a test reads a line, they do not depend on the load of the machine.
    std::vector<std::time_t> logTimes(const std::string& line) {
        std::vector<std::time_t> times;
        std::istringstream log(installation.helper().errors());
        for (std::string logged; std::getline(log, logged);) {
            std::tm time{};
            if (logged.substr(logged.find(' ') + 1) == line && strptime(logged.c_str(), "%Y-%m-%dT%H:%M:%SZ ", &time))
                times.push_back(timegm(&time));
        }
        return times;
    }
    /// Expects one disconnection and one hand-back, 8 seconds apart. Accepts up to 10 seconds for a process on a busy
    /// machine; other tests check the exact time in virtual time.
    void expectOneGracePeriod() {
        const auto left = logTimes(disconnected);
        const auto ended = logTimes(handedBack);
        ASSERT_EQ(left.size(), 1U);
        ASSERT_EQ(ended.size(), 1U);
        EXPECT_GE(ended[0] - left[0], 8);
        EXPECT_LE(ended[0] - left[0], 10);
    }

    /// Waits until the helper has exited, and checks that its status is 0 and that it has handed the fans back.
    void expectCleanExit(double timeout = 15) {
        EXPECT_EQ(installation.helper().waitForEnd(timeout), 0);
        EXPECT_FALSE(installation.isAnyFanManual());
        EXPECT_EQ(installation.helperLog().back(), "[NOTICE] service: Handed the fan back on the way out.");
    }

    TemporaryFolder folder;
    Installation installation{folder.path()};
};

} // namespace kelo
