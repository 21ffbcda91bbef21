#include "platform/linux/log/SyslogSocket.h"

#include <gmock/gmock.h>
#include <syslog.h>

#include <thread>

#include "testing/FakeLogDaemon.h"
#include "testing/TemporaryFolder.h"

namespace kelo {
namespace {

using ::testing::ElementsAre;
using ::testing::EndsWith;
using ::testing::IsEmpty;
using ::testing::MatchesRegex;
using ::testing::SizeIs;

class SyslogSocketTest : public ::testing::Test {
protected:
    SyslogSocketTest() { alarm(60); } // ends a test that blocks
    ~SyslogSocketTest() override { alarm(0); }

    void write(const std::string& message) { log.write(LOG_NOTICE, "app.kelo.helper", "listener", message); }
    void writeMany(int number) {
        for (int i = 0; i < number; ++i)
            write("entry " + std::to_string(i));
    }

    TemporaryFolder folder;
    const std::filesystem::path path = folder / "log";
    SyslogSocket log{path.string()};
};

TEST_F(SyslogSocketTest, AnEntryHasTheSyslogFormat) {
    const FakeLogDaemon daemon(path);
    write("Asked to stop.");
    EXPECT_THAT(daemon.read(),
                ElementsAre(MatchesRegex("<29>[A-Z][a-z][a-z] [ 0-9][0-9] [0-9][0-9]:[0-9][0-9]:[0-9][0-9] "
                                         "app\\.kelo\\.helper\\[" +
                                         std::to_string(getpid()) + "\\]: \\[listener\\] Asked to stop\\.")));
}

TEST_F(SyslogSocketTest, DoesNotWaitForADaemonThatDoesNotRead) {
    const FakeLogDaemon daemon(path);
    writeMany(1000);
    const auto taken = daemon.read();
    ASSERT_THAT(taken, SizeIs(::testing::AllOf(::testing::Ge(1U), ::testing::Lt(1000U))));

    write("the next");
    EXPECT_THAT(daemon.read(),
                ElementsAre(EndsWith(": [platform] Entries left out here: " + std::to_string(1000 - taken.size())),
                            EndsWith(": [listener] the next")));
    write("the last");
    EXPECT_THAT(daemon.read(), ElementsAre(EndsWith(": [listener] the last"))) << "reports dropped entries once";
}

TEST_F(SyslogSocketTest, NoThreadWaitsForADaemonThatDoesNotRead) {
    const FakeLogDaemon daemon(path);
    std::vector<std::jthread> threads;
    for (int i = 0; i < 4; ++i)
        threads.emplace_back([this] { writeMany(250); });
    threads.clear();
    const auto taken = daemon.read();
    write("the next");
    EXPECT_THAT(daemon.read(),
                ElementsAre(EndsWith(": [platform] Entries left out here: " + std::to_string(1000 - taken.size())),
                            EndsWith(": [listener] the next")));
}

TEST_F(SyslogSocketTest, ReportsMissedEntriesToALateDaemon) {
    writeMany(3);
    const FakeLogDaemon daemon(path);
    write("the next");
    EXPECT_THAT(daemon.read(), ElementsAre(EndsWith("Entries left out here: 3"), EndsWith("the next")));
}

TEST_F(SyslogSocketTest, ReconnectsToARestartedDaemon) {
    {
        const FakeLogDaemon first(path);
        write("one");
        EXPECT_THAT(first.read(), SizeIs(1));
    }
    write("nobody hears this");
    const FakeLogDaemon second(path);
    write("two");
    EXPECT_THAT(second.read(), ElementsAre(EndsWith("Entries left out here: 1"), EndsWith("two")));
}

TEST_F(SyslogSocketTest, DropsOnlyAnEntryThatIsTooLong) {
    const FakeLogDaemon daemon(path);
    write(std::string(1'000'000, 'x'));
    EXPECT_THAT(daemon.read(), IsEmpty());
    write("short");
    EXPECT_THAT(daemon.read(), ElementsAre(EndsWith("Entries left out here: 1"), EndsWith("short")));
}

TEST_F(SyslogSocketTest, DoesNotWriteToAStreamSocket) {
    const FakeLogDaemon daemon(path, SOCK_STREAM);
    writeMany(3);
}

} // namespace
} // namespace kelo
